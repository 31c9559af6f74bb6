#include "SimServer.h"

#include "SimFraming.h"

#include <algorithm>

void SimServer::ServeChannel(const std::shared_ptr<SimConnection>& connection, bool eventSocket)
{
    bool silent = false;
    bool registered = false;
    std::string text;
    while (ReadFrame(connection->Fd(), text) == FrameReadResult::Ok)
    {
        if (silent)
        {
            m_Log.Append(m_Responder.Answer(text, connection->Fd()).logLine);
            continue;
        }
        SimReply reply = m_Responder.Answer(text, connection->Fd());
        m_Log.Append(reply.logLine);
        Delivery delivery = Deliver(*connection, reply);
        if (delivery == Delivery::Close)
            break;
        silent = delivery == Delivery::Silent;
        if (eventSocket && reply.eventRegistration && !registered && !silent)
        {
            RegisterEventChannel(connection);
            registered = true;
        }
    }
    if (registered)
        UnregisterEventChannel(connection);
}

SimServer::Delivery SimServer::Deliver(SimConnection& connection, const SimReply& reply)
{
    if (reply.delayMs > 0 && !Pause(reply.delayMs))
        return Delivery::Close;
    if (reply.hangup)
        return Delivery::Close;
    if (reply.stall)
    {
        NoteStall();
        return Delivery::Silent;
    }

    std::string frame = BuildFrame(reply.text);
    if (reply.shortBy > 0)
        frame.replace(0, 4, BuildLengthWord(static_cast<uint32_t>(reply.text.size() + 1 + reply.shortBy)));

    size_t pieces = std::max(1, std::min(reply.chunks, static_cast<int>(frame.size())));
    std::lock_guard<std::mutex> lock(connection.WriteMutex());
    size_t sent = 0;
    for (size_t piece = 0; piece < pieces; ++piece)
    {
        size_t end = frame.size() * (piece + 1) / pieces;
        if (piece > 0 && !Pause(reply.chunkGapMs))
            return Delivery::Close;
        if (!WriteAll(connection.Fd(), frame.data() + sent, end - sent))
            return Delivery::Close;
        sent = end;
    }
    return reply.shortBy > 0 ? Delivery::Silent : Delivery::Replied;
}
