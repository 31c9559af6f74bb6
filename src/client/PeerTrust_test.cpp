#include "JsonEventChannel.h"
#include "JsonTransport.h"

#include "TestEnv.h"
#include "Unprivileged.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{
// A listening socket of root's whose listen() was made by uid 65534: its clients see that user
// as their peer, while the test can still accept on it and see what they sent.
class ListenerOf
{
public:
    ListenerOf(const std::string& path, bool byNobody)
    {
        m_Fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        struct sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        if (bind(m_Fd, reinterpret_cast<struct sockaddr*>(&address), sizeof address) != 0)
            return;
        m_Listening = byNobody ? AsNobody([this] { return listen(m_Fd, 8) == 0; }) : listen(m_Fd, 8) == 0;
    }
    ~ListenerOf() { close(m_Fd); }
    bool IsListening() const { return m_Listening; }

    // Accepts the next waiting connection and returns every byte its client sent before closing.
    std::string SentByNextClient() const
    {
        const int connection = accept4(m_Fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        std::string sent;
        char buffer[512];
        ssize_t got;
        while (connection >= 0 && (got = read(connection, buffer, sizeof buffer)) > 0)
            sent.append(buffer, static_cast<size_t>(got));
        if (connection >= 0)
            close(connection);
        return sent;
    }

private:
    int m_Fd = -1;
    bool m_Listening = false;
};
} // namespace

// A daemon socket served by another user: the request channel and the event channel are
// refused on connect, before the channel-init command names us; a peer that is root is trusted.
TEST(PeerTrust, ChannelsToAnotherUsersDaemonCarryNothing)
{
    const std::string reason = UnprivilegedSkipReason();
    if (!reason.empty())
        GTEST_SKIP() << reason;
    TempDir root;
    ScopedEnv sysroot("HOSTCAPTURE_SYSROOT", root.Path().c_str());
    const std::string requestPath = root.File("opt/TessmarkQDX/vital/qmxdsj");
    const std::string eventPath = root.File("opt/TessmarkQDX/vital/qmxdaj");
    const ListenerOf request(requestPath, true), events(eventPath, true);
    ASSERT_TRUE(request.IsListening() && events.IsListening());

    EXPECT_EQ(kPeerRefused, JsonAttach(requestPath.c_str(), "HostCapture"));
    EXPECT_EQ("", request.SentByNextClient());
    EXPECT_EQ(-1, OpenEventChannel("HostCapture"));
    EXPECT_EQ("", events.SentByNextClient());

    const std::string ownPath = root.File("own");
    const ListenerOf own(ownPath, false);
    ASSERT_TRUE(own.IsListening());
    const int fd = OpenDevice(ownPath.c_str());
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(IsPeerTrusted(fd, ownPath.c_str()));
    close(fd);
}
