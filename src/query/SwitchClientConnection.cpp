#include "SwitchClientConnection.h"

#include "CConfigSpaceQuery.h"
#include "CSwitchClient.h"

#include <cstdio>

namespace
{
const char* const kApplicationName = "HostCapture";
} // namespace

CSwitchClient& SharedSwitchClient()
{
    static CSwitchClient client;
    return client;
}

bool ConnectSwitchClient(CConfigSpaceQuery& query)
{
    return ConnectSwitchClient(query, SharedSwitchClient());
}

bool ConnectSwitchClient(CConfigSpaceQuery& query, CSwitchClient& client)
{
    // A second connect of the same object first gives back the reference of the first, so the
    // attach count stays balanced with the one release the owner will make.
    if (query.m_AttachedByConnect)
        ReleaseSwitchClient(query);

    client.SetApplicationName(kApplicationName);
    client.ClearLastError();
    query.Request().Reset();
    if (!client.Attach(nullptr))
    {
        std::printf("\n ERROR: Tessmark Switch could not be connected\n");
        std::fflush(stdout);
        query.Unbind();
        return false;
    }

    // A failed cabinet request is traced by the client; the queries then address cabinet 0,
    // the main cabinet.
    uint32_t cabinetNumber = 0;
    if (!client.RequestCabinetNumber(cabinetNumber))
        cabinetNumber = 0;

    query.m_Tables = std::make_unique<StatusTextTables>();
    query.Bind(&client, cabinetNumber, client.GetServicePath());
    query.m_AttachedByConnect = true;
    return true;
}

void ReleaseSwitchClient(CConfigSpaceQuery& query)
{
    // Only the connect routine sets the flag, and only with a CSwitchClient bound.
    if (query.m_AttachedByConnect)
        static_cast<CSwitchClient*>(query.m_Client)->DetachWithoutLock();
    query.Unbind();
    query.m_Tables.reset();
    // The last answer is of no use after the release; a large one would otherwise stay in memory
    // while the rest of the report is built.
    query.Request().DropLargeReply();
}
