#include "codec/decoder.h"

#include <algorithm>
#include <cassert>

namespace
{
/// A cleared context with what the caller asks for.
CodecContext MakeContext(int32_t iWidth, int32_t iHeight, int32_t iCodecId, int32_t iCodecType)
{
    CodecContext context = {};
    context.codec_id = iCodecId;
    context.codec_type = iCodecType;
    context.width = iWidth;
    context.height = iHeight;
    return context;
}

/// The table's row for a codec. Null for an unknown codec, of which only a debug build complains.
const CodecEntry* FindRow(int32_t iCodecId)
{
    codec_init();
    codec_register_all();
    const CodecEntry* const pEntry = codec_find_decoder(iCodecId);

    // clang-format off
    assert(pEntry); static_assert(__LINE__ == 27, "the complaint is known by file and line");
    // clang-format on
    return pEntry;
}

bool IsZeros(const uint8_t* pBuffer, int32_t iLength)
{
    return std::all_of(pBuffer, pBuffer + iLength, [](uint8_t byte) { return byte == 0; });
}

bool EndsWithStartCode(const uint8_t* pBuffer, int32_t iEnd, int32_t iZeros)
{
    if (iEnd < iZeros + 1 || pBuffer[iEnd - 1] != 1) return false;
    for (int32_t i = 2; i < iZeros + 2; ++i) {
        if (pBuffer[iEnd - i] != 0) return false;
    }
    return true;
}
}  // namespace

CVideoDecoder::CVideoDecoder(int32_t iWidth, int32_t iHeight, int32_t iCodecId, int32_t iCodecType)
    : CVideoDecoder(iWidth, iHeight, iCodecId, iCodecType, FindRow(iCodecId))
{
}

CVideoDecoder::CVideoDecoder(int32_t iWidth, int32_t iHeight, int32_t iCodecId, int32_t iCodecType,
                             const CodecEntry* pEntry)
    : m_Context(MakeContext(iWidth, iHeight, iCodecId, iCodecType))
{
    // A failure is not told here: every Decode then answers null.
    codec_open(&m_Context, pEntry);
}

CVideoDecoder::~CVideoDecoder()
{
    codec_close(&m_Context);
}

CodecFrame* CVideoDecoder::Decode(const uint8_t* pBuffer, int32_t iLength)
{
    int32_t iGot = 0;
    const int32_t iUsed = codec_decode(&m_Context, &m_Frame, &iGot, pBuffer, iLength);
    // Settled: data that finished no picture hands the previous picture's fields out once more.
    return iUsed < 0 ? nullptr : &m_Frame;
}

CMpeg4Decoder::CMpeg4Decoder(int32_t iWidth, int32_t iHeight)
    : CVideoDecoder(iWidth, iHeight, CODEC_ID_MPEG4, 0)
{
}

void CMpeg4Decoder::SetStandardChroma(bool bOn)
{
    if (bOn)
        m_Context.options |= CODEC_OPTION_STANDARD_CHROMA;
    else
        m_Context.options &= ~CODEC_OPTION_STANDARD_CHROMA;
}

CC264Decoder::CC264Decoder(int32_t iWidth, int32_t iHeight) : CVideoDecoder(iWidth, iHeight, CODEC_ID_H264, 0)
{
}

CC264Decoder::CC264Decoder(int32_t iWidth, int32_t iHeight, const CodecEntry* pEntry)
    : CVideoDecoder(iWidth, iHeight, CODEC_ID_H264, 0, pEntry)
{
}

CodecFrame* CC264Decoder::Decode(const uint8_t* pBuffer, int32_t iLength)
{
    m_Frame = {};
    int32_t iUsed = 0;
    while (iLength >= 1 && pBuffer) {
        int32_t iGot = 0;
        iUsed = codec_decode(&m_Context, &m_Frame, &iGot, pBuffer, FindNalLength(pBuffer, iLength));
        if (iUsed == -1 && IsZeros(pBuffer, iLength)) iUsed = 0;  // padding behind the last unit is no failure
        if (iUsed < 1) break;
        // the step is what the core consumed, not the length of the unit
        pBuffer += iUsed;
        iLength -= iUsed;
    }
    return iUsed < 0 ? nullptr : &m_Frame;
}

int32_t FindNalLength(const uint8_t* pBuffer, int32_t iLength)
{
    int32_t i = 0;
    while (i < iLength - 1 && pBuffer[i++] == 0) {
    }
    bool bFound = false;
    while (!bFound && i < iLength) {
        ++i;
        bFound = EndsWithStartCode(pBuffer, i, 3) || EndsWithStartCode(pBuffer, i, 2);
    }
    return i - 3;
}
