#include "codec/decoder.h"

#include <algorithm>
#include <cassert>

namespace
{
/// A cleared context with what the caller asks for.
CodecContext MakeContext(int32_t width, int32_t height, int32_t codecId, int32_t codecType)
{
    CodecContext context = {};
    context.codec_id = codecId;
    context.codec_type = codecType;
    context.width = width;
    context.height = height;
    return context;
}

/// The table's row for a codec. Null for an unknown codec, of which only a debug build complains.
const CodecEntry* FindRow(int32_t codecId)
{
    codec_init();
    codec_register_all();
    const CodecEntry* const entry = codec_find_decoder(codecId);

    // clang-format off
    assert(entry); static_assert(__LINE__ == 27, "the complaint is known by file and line");
    // clang-format on
    return entry;
}

bool IsZeros(const uint8_t* buffer, int32_t length)
{
    return std::all_of(buffer, buffer + length, [](uint8_t byte) { return byte == 0; });
}

bool EndsWithStartCode(const uint8_t* buffer, int32_t end, int32_t zeros)
{
    if (end < zeros + 1 || buffer[end - 1] != 1) return false;
    for (int32_t i = 2; i < zeros + 2; ++i) {
        if (buffer[end - i] != 0) return false;
    }
    return true;
}
}  // namespace

CVideoDecoder::CVideoDecoder(int32_t width, int32_t height, int32_t codecId, int32_t codecType)
    : CVideoDecoder(width, height, codecId, codecType, FindRow(codecId))
{
}

CVideoDecoder::CVideoDecoder(int32_t width, int32_t height, int32_t codecId, int32_t codecType,
                             const CodecEntry* entry)
    : m_Context(MakeContext(width, height, codecId, codecType))
{
    // A failure is not told here: every Decode then answers null.
    codec_open(&m_Context, entry);
}

CVideoDecoder::~CVideoDecoder()
{
    codec_close(&m_Context);
}

CodecFrame* CVideoDecoder::Decode(const uint8_t* buffer, int32_t length)
{
    int32_t got = 0;
    const int32_t used = codec_decode(&m_Context, &m_Frame, &got, buffer, length);
    // oddity: frame-handed-out-again. Data that finished no picture hands the previous picture's fields out
    // once more.
    return used < 0 ? nullptr : &m_Frame;
}

CMpeg4Decoder::CMpeg4Decoder(int32_t width, int32_t height) : CVideoDecoder(width, height, CODEC_ID_MPEG4, 0) {}

void CMpeg4Decoder::SetStandardChroma(bool on)
{
    if (on)
        m_Context.options |= CODEC_OPTION_STANDARD_CHROMA;
    else
        m_Context.options &= ~CODEC_OPTION_STANDARD_CHROMA;
}

CC264Decoder::CC264Decoder(int32_t width, int32_t height) : CVideoDecoder(width, height, CODEC_ID_H264, 0) {}

CC264Decoder::CC264Decoder(int32_t width, int32_t height, const CodecEntry* entry)
    : CVideoDecoder(width, height, CODEC_ID_H264, 0, entry)
{
}

CodecFrame* CC264Decoder::Decode(const uint8_t* buffer, int32_t length)
{
    m_Frame = {};
    int32_t used = 0;
    while (length >= 1 && buffer) {
        int32_t got = 0;
        used = codec_decode(&m_Context, &m_Frame, &got, buffer, FindNalLength(buffer, length));
        if (used == -1 && IsZeros(buffer, length)) used = 0;  // padding after the last unit is no failure
        if (used < 1) break;
        // the step is what the core consumed, not the length of the unit
        buffer += used;
        length -= used;
    }
    return used < 0 ? nullptr : &m_Frame;
}

int32_t FindNalLength(const uint8_t* buffer, int32_t length)
{
    int32_t i = 0;
    while (i < length - 1 && buffer[i++] == 0) {
    }
    bool found = false;
    while (!found && i < length) {
        ++i;
        found = EndsWithStartCode(buffer, i, 3) || EndsWithStartCode(buffer, i, 2);
    }
    return i - 3;
}
