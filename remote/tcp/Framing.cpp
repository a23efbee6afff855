#include "remote/tcp/Framing.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <new>
#include <vector>

#include "inc/OutputDebugString.h"

namespace
{

/// Sends until all is gone or a call fails; the bytes that went.
std::int32_t SendAll(SOCKET socket, const std::uint8_t* data, std::int32_t bytes)
{
    std::int32_t sent = 0;
    while (sent < bytes) {
        const ssize_t count =
            ::send(socket, data + sent, static_cast<std::size_t>(bytes - sent), SOCKET_SEND_FLAGS);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        sent += static_cast<std::int32_t>(count);
    }
    return sent;
}

/// Reads exactly `bytes`: 1, or the result of the call that failed (0 when the peer has closed, -1).
std::int32_t RecvAll(SOCKET socket, std::uint8_t* data, std::int32_t bytes,
                     const std::function<void()>& whileWaiting)
{
    for (std::int32_t read = 0; read < bytes;) {
        const ssize_t count = ::recv(socket, data + read, static_cast<std::size_t>(bytes - read), 0);
        if (count < 0 && errno == EINTR) continue;
        const bool late = count < 0 && errno == EAGAIN && whileWaiting;
        if (count <= 0 && !late) return static_cast<std::int32_t>(count);
        if (!late) read += static_cast<std::int32_t>(count);
        if (read < bytes && whileWaiting) whileWaiting();
    }
    return 1;
}

void Tell(const char* format, std::int32_t value)
{
    char text[128];
    std::snprintf(text, sizeof text, format, value);
    OutputDebugStringA(text);
}

/// Makes a frame of the body and sends it; 0 also when it would be too long for its length field or for the
/// memory.
std::int32_t SendBody(SOCKET socket, const void* body, std::size_t bytes)
{
    if (bytes > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max() - FRAME_HEADER_BYTES))
        return 0;
    try {
        std::vector<std::uint8_t> frame(FRAME_HEADER_BYTES + bytes);
        SetFrameLength(frame.data(), static_cast<std::int32_t>(frame.size()));
        std::copy_n(static_cast<const std::uint8_t*>(body), bytes, frame.data() + FRAME_HEADER_BYTES);
        return SendFrame(socket, frame.data());
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

}  // namespace

std::int32_t GetFrameLength(const std::uint8_t* frame)
{
    return static_cast<std::int32_t>(frame[0] | frame[1] << 8 | frame[2] << 16 |
                                     static_cast<std::uint32_t>(frame[3]) << 24);
}

void SetFrameLength(std::uint8_t* frame, std::int32_t length)
{
    for (int i = 0; i < FRAME_HEADER_BYTES; ++i)
        frame[i] = static_cast<std::uint8_t>(static_cast<std::uint32_t>(length) >> (8 * i));
}

std::int32_t SendFrame(SOCKET socket, const std::uint8_t* frame)
{
    const std::int32_t length = GetFrameLength(frame);
    const std::int32_t sent = SendAll(socket, frame, length);
    return sent == length ? sent : 0;
}

std::int32_t SendLinkFrame(SOCKET socket, const std::uint8_t* frame)
{
    return SendAll(socket, frame, GetFrameLength(frame));
}

std::int32_t RecvFrame(SOCKET socket, std::span<std::uint8_t> buffer, const std::function<void()>& whileWaiting)
{
    if (buffer.size() < FRAME_HEADER_BYTES) return 0;
    const std::int32_t header = RecvAll(socket, buffer.data(), FRAME_HEADER_BYTES, whileWaiting);
    if (header <= 0) {
        Tell("recv return %d ========================1111===========================", header);
        return 0;
    }
    const std::int32_t length = GetFrameLength(buffer.data());
    if (length > 0 && static_cast<std::size_t>(length) > buffer.size()) {
        Tell("frame of %d bytes, longer than any that is taken: refused", length);
        return 0;
    }
    const std::int32_t body = RecvAll(socket, buffer.data() + FRAME_HEADER_BYTES,
                                      std::max(length, FRAME_HEADER_BYTES) - FRAME_HEADER_BYTES, whileWaiting);
    if (body <= 0) {
        Tell("recv return %d =======================333=============================", body);
        return 0;
    }
    return length;
}

std::int32_t SendTextFrame(SOCKET socket, std::string_view text)
{
    return SendBody(socket, text.data(), text.size());
}

std::int32_t RecvTextFrame(SOCKET socket, std::string& text)
{
    try {
        std::vector<std::uint8_t> buffer(SHORT_FRAME_LIMIT + 1);  // with room for a terminator
        const std::int32_t length = RecvFrame(socket, std::span(buffer).first(SHORT_FRAME_LIMIT));
        if (length == 0) return 0;
        const std::int32_t end = std::max(length, FRAME_HEADER_BYTES);
        buffer[static_cast<std::size_t>(end)] = 0;
        text = reinterpret_cast<const char*>(buffer.data() + FRAME_HEADER_BYTES);
        return length;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

std::int32_t SendBinaryFrame(SOCKET socket, std::span<const std::uint8_t> data)
{
    return SendBody(socket, data.data(), data.size());
}

std::int32_t RecvBinaryFrame(SOCKET socket, std::span<std::uint8_t, SHORT_FRAME_LIMIT> out)
{
    try {
        std::vector<std::uint8_t> buffer(FRAME_HEADER_BYTES + SHORT_FRAME_LIMIT);
        const std::int32_t length = RecvFrame(socket, std::span(buffer).first(SHORT_FRAME_LIMIT));
        std::copy_n(buffer.data() + FRAME_HEADER_BYTES, std::max(length, 0), out.data());
        return length;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}
