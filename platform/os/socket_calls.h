#pragma once

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The machine's own socket calls are used as they are (socket, bind, connect, recv, sendto, ...), with
// SOCKET_SEND_FLAGS on every send so that a closed connection is a result and no signal. What differs stands
// here.

using SOCKET = int;
inline constexpr SOCKET INVALID_SOCKET = -1;
inline constexpr int SOCKET_ERROR = -1;
inline constexpr int SOCKET_SEND_FLAGS = MSG_NOSIGNAL;

inline constexpr int WSAVERNOTSUPPORTED = 10092;

/// Starts the socket layer; counted. 0 on success. There is nothing to start on this machine, so only a version
/// of 0 is refused (WSAVERNOTSUPPORTED), as the platform's call refuses it.
int WSAStartup(std::uint16_t version);
/// Ends one start; SOCKET_ERROR when there was none.
int WSACleanup();

/// The IPv4 addresses of a host in the resolver's order, each once. For the machine's own name (as gethostname
/// gives it) that the resolver knows by loopback addresses only, or not at all, those of the interfaces that
/// are up, since the platform's gethostbyname gives those; empty when there is none.
std::vector<in_addr> GetHostAddresses(const std::string& host);

/// What GetHostAddresses makes of the own name's addresses and of the interfaces'.
std::vector<in_addr> ChooseOwnAddresses(const std::vector<in_addr>& resolved,
                                        const std::vector<in_addr>& interfaces);

/// The machine's own name.
std::string GetHostName();

/// Ends every blocking call on the socket, in whatever thread: recv and recvfrom give 0, select says that there
/// is something to read, accept and connect fail. Later calls end at once. The socket stays open, so that its
/// number is not given to another one while a thread may still use it: end the calls, wait for the thread, then
/// closesocket.
void EndBlockedCalls(SOCKET socket);

/// Ends the blocked calls, then closes the socket; 0 or SOCKET_ERROR. No thread may begin a call any more.
int closesocket(SOCKET socket);
