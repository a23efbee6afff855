#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "codec/codec.h"
#include "codec/convert/convert.h"

// What the fuzz targets of both decoders share: sizes to open, and looks at what comes out.

struct FuzzSize {
    int32_t width;
    int32_t height;
};
inline constexpr FuzzSize FUZZ_SIZES[] = {{176, 144}, {16, 16}, {48, 32}, {33, 50},
                                          {8, 8},     {64, 16}, {16, 80}, {64, 64}};

inline uint8_t g_Sink;

/// Reads every sample that the frame says it has, as a consumer would.
inline void ReadFrame(const CodecFrame* frame)
{
    for (int plane = 0; plane < 3; ++plane) {
        const int32_t width = plane == 0 ? frame->width : frame->width / 2;
        const int32_t height = plane == 0 ? frame->height : frame->height / 2;
        const int32_t stride = frame->linesize[plane == 0 ? 0 : 1];
        for (int32_t row = 0; row < height; ++row) {
            for (int32_t column = 0; column < width; ++column)
                g_Sink ^= frame->data[plane][row * stride + column];
        }
    }
}

inline bool AreSame(const CodecFrame& a, const CodecFrame& b)
{
    for (int plane = 0; plane < 3; ++plane) {
        const int32_t width = plane == 0 ? a.width : a.width / 2;
        const int32_t height = plane == 0 ? a.height : a.height / 2;
        const int32_t stride = a.linesize[plane == 0 ? 0 : 1];
        for (int32_t row = 0; row < height; ++row) {
            if (std::memcmp(a.data[plane] + row * stride, b.data[plane] + row * stride,
                            static_cast<size_t>(width)) != 0)
                return false;
        }
    }
    return true;
}

/// Pixels that follow a decoder's pictures by their changes.
class CFollower
{
  public:
    explicit CFollower(const FuzzSize& size)
        : m_Pixels(static_cast<size_t>(size.width) * size.height * 4), m_Whole(m_Pixels.size())
    {
    }

    bool Follows(const CodecFrame& frame)
    {
        if (ConvertChanges(Target(frame, m_Pixels), frame, frame.width, frame.height, &m_Held) != CONVERT_OK)
            return true;
        ConvertFrame(Target(frame, m_Whole), frame, frame.width, frame.height, false);
        return m_Pixels == m_Whole;
    }

  private:
    static ConvertTarget Target(const CodecFrame& frame, std::vector<uint8_t>& pixels)
    {
        return {.data = {pixels.data(), nullptr, nullptr, nullptr},
                .linesize = {frame.width * 4, 0, 0, 0},
                .format = CONVERT_FORMAT_BGR32};
    }

    std::vector<uint8_t> m_Pixels;
    std::vector<uint8_t> m_Whole;
    ConvertHeld m_Held{};
};

/// Calls f(bytes, length) for each payload, each in a block of its own, so that the sanitizer sees a read
/// after it. `next` tells the length of the first payload of what is left.
template <class Next, class Function>
void ForEachPayload(const uint8_t* data, size_t size, Next next, Function f)
{
    while (size > 0) {
        const size_t length = std::max<size_t>(next(data, size), 1);
        const std::unique_ptr<uint8_t[]> payload(new uint8_t[length]);
        std::memcpy(payload.get(), data, length);
        f(payload.get(), static_cast<int32_t>(length));
        data += length;
        size -= length;
    }
}

/// Up to the start code after the first unit that ends a payload, by the byte after its start code
/// `ends`.
template <class Ends>
size_t LengthOfPayload(const uint8_t* data, size_t size, Ends ends)
{
    bool seen = false;
    for (size_t i = 0; i + 4 <= size; ++i) {
        if (data[i] || data[i + 1] || data[i + 2] != 1) continue;
        if (seen) return i;
        seen = ends(data[i + 3]);
    }
    return size;
}
