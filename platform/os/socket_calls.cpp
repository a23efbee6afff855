#include "platform/os/socket_calls.h"

#include <unistd.h>

#include <atomic>

namespace
{

constinit std::atomic<int> g_iStarts = 0;

}  // namespace

int WSAStartup(std::uint16_t version)
{
    if (version == 0) return WSAVERNOTSUPPORTED;
    ++g_iStarts;
    return 0;
}

int WSACleanup()
{
    int starts = g_iStarts;
    while (starts > 0) {
        if (g_iStarts.compare_exchange_weak(starts, starts - 1)) return 0;
    }
    return SOCKET_ERROR;
}

void EndBlockedCalls(SOCKET socket)
{
    // A socket that isn't connected refuses, and its blocked calls end all the same.
    ::shutdown(socket, SHUT_RDWR);
}

int closesocket(SOCKET socket)
{
    EndBlockedCalls(socket);
    return ::close(socket);
}
