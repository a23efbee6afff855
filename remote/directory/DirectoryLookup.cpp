#include "remote/directory/DirectoryLookup.h"

#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "platform/os/socket_calls.h"
#include "remote/p2p/Endpoints.h"

namespace
{

constexpr std::uint16_t SOCKET_VERSION = 0x0202;

/// The decimal number at the start of a text; 0 when there is none, the nearest value when it is too large.
std::int32_t DecimalValue(const std::string& text)
{
    const long value = std::strtol(text.c_str(), nullptr, 10);
    return static_cast<std::int32_t>(std::clamp<long>(value, std::numeric_limits<std::int32_t>::min(),
                                                      std::numeric_limits<std::int32_t>::max()));
}

/// Starts the socket layer for one question.
class CSocketLayer
{
  public:
    CSocketLayer() : m_bStarted(WSAStartup(SOCKET_VERSION) == 0) {}
    ~CSocketLayer()
    {
        if (m_bStarted) WSACleanup();
    }
    CSocketLayer(const CSocketLayer&) = delete;
    CSocketLayer& operator=(const CSocketLayer&) = delete;
    bool IsStarted() const { return m_bStarted; }

  private:
    const bool m_bStarted;
};

SOCKET Connect(const Endpoints& endpoints)
{
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(endpoints.directoryPort);
    if (!ResolveHost(endpoints.host, server.sin_addr)) return INVALID_SOCKET;
    const SOCKET connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    if (connection == INVALID_SOCKET) return INVALID_SOCKET;
    if (connect(connection, reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0) return connection;
    closesocket(connection);
    return INVALID_SOCKET;
}

/// Sends the question and reads the reply, each in one call. The reply ends at its first zero byte; a failed
/// read leaves it empty.
std::string Ask(SOCKET connection, const Endpoints& endpoints, const std::string& question)
{
    const auto timeout = endpoints.replyTimeoutMs;
    const timeval limit{static_cast<time_t>(timeout / 1000), static_cast<suseconds_t>(timeout % 1000 * 1000)};
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    send(connection, question.data(), question.size(), SOCKET_SEND_FLAGS);

    char reply[DIRECTORY_REPLY_BYTES + 1];  // a full reply is terminated after its last byte
    ssize_t count = 0;
    do {
        count = recv(connection, reply, DIRECTORY_REPLY_BYTES, 0);
    } while (count < 0 && errno == EINTR);
    reply[std::max<ssize_t>(count, 0)] = '\0';
    return reply;
}

/// Cuts the text before the next colon off `rest`, with the colon; without a colon nothing is left and the
/// field is empty.
std::string_view CutField(std::string_view& rest)
{
    const auto colon = rest.find(':');
    if (colon == std::string_view::npos) {
        rest = {};
        return {};
    }
    const auto field = rest.substr(0, colon);
    rest.remove_prefix(colon + 1);
    return field;
}

}  // namespace

std::string LookUpAddress(const Endpoints& endpoints, const std::string& netAddress)
{
    const CSocketLayer layer;
    if (!layer.IsStarted()) return netAddress;
    const SOCKET connection = Connect(endpoints);
    if (connection == INVALID_SOCKET) return netAddress;
    std::string reply = Ask(connection, endpoints, "getip?domainname=" + netAddress);
    closesocket(connection);
    // An unreadable reply is taken for "failed".
    if (reply.empty() || reply.front() == 'f') return netAddress;
    return reply;
}

bool LookUpChannels(const Endpoints& endpoints, const std::string& address, std::int32_t& netID,
                    std::int32_t& channelCount)
{
    const CSocketLayer layer;
    if (!layer.IsStarted()) return false;
    const SOCKET connection = Connect(endpoints);
    if (connection == INVALID_SOCKET) return false;
    const std::string reply = Ask(connection, endpoints, "getip2?domainname=" + address);
    ParseChannelReply(reply, address, netID, channelCount);
    closesocket(connection);
    return true;
}

void ParseChannelReply(std::string_view reply, const std::string& address, std::int32_t& netID,
                       std::int32_t& channelCount)
{
    if (reply.starts_with(':')) return;
    netID = DecimalValue(address);
    CutField(reply);
    channelCount = DecimalValue(std::string(CutField(reply)));
}
