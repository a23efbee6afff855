#include "recorder/protocol/Frames.h"

#include <algorithm>

namespace recorder
{

std::optional<Bytes> FrameReader::Next()
{
    if (m_Damaged || m_Bytes.size() < LENGTH_BYTES) return {};
    const auto length = static_cast<int32_t>(ReadU32(m_Bytes.data()));
    if (length < static_cast<int32_t>(LENGTH_BYTES) || static_cast<size_t>(length) > m_MaxBytes) {
        m_Damaged = true;
        return {};
    }
    if (m_Bytes.size() < static_cast<size_t>(length)) return {};
    Bytes body(m_Bytes.begin() + LENGTH_BYTES, m_Bytes.begin() + length);
    m_Bytes.erase(m_Bytes.begin(), m_Bytes.begin() + length);
    return body;
}

Bytes MakeFrame(std::span<const uint8_t> body)
{
    Bytes frame(LENGTH_BYTES + body.size());
    WriteU32(frame.data(), static_cast<uint32_t>(frame.size()));
    std::copy(body.begin(), body.end(), frame.begin() + LENGTH_BYTES);
    return frame;
}

std::optional<StreamRequest> ParseDirectRequest(std::span<const uint8_t> body)
{
    if (body.size() != STREAM_REQUEST_BYTES - LENGTH_BYTES) return {};
    const auto word = [&](size_t at) { return static_cast<int32_t>(ReadU32(body.data() + at)); };
    return StreamRequest{word(0), word(4), word(8)};
}

Bytes MakeDirectReply(EReply type, int width, int height)
{
    Bytes reply(STREAM_REPLY_BYTES);
    WriteU32(reply.data(), STREAM_REPLY_BYTES);
    WriteU32(reply.data() + 4, static_cast<uint32_t>(type));
    WriteU32(reply.data() + 8, static_cast<uint32_t>(width));
    WriteU32(reply.data() + 12, static_cast<uint32_t>(height));
    return reply;
}

std::array<uint8_t, MEDIA_HEADER_BYTES> MakeMediaHeader(uint32_t type, size_t payloadBytes)
{
    std::array<uint8_t, MEDIA_HEADER_BYTES> header{};
    WriteU32(header.data(), static_cast<uint32_t>(MEDIA_HEADER_BYTES + payloadBytes));
    WriteU32(header.data() + 4, type);
    return header;
}

}  // namespace recorder
