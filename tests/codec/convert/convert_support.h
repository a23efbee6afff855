#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "codec/codec.h"
#include "codec/convert/convert.h"

/// Bytes of a fixed generator, so that a picture's hash can be computed anywhere.
inline std::vector<std::uint8_t> NoiseBytes(std::size_t count, std::uint32_t seed)
{
    std::vector<std::uint8_t> bytes(count);
    for (std::uint8_t& byte : bytes) {
        seed = seed * 1664525u + 1013904223u;
        byte = static_cast<std::uint8_t>(seed >> 24);
    }
    return bytes;
}

/// FNV-1a of 64 bits.
inline std::uint64_t HashBytes(std::span<const std::uint8_t> bytes)
{
    std::uint64_t hash = 0xCBF29CE484222325u;
    for (const std::uint8_t byte : bytes)
        hash = (hash ^ byte) * 0x100000001B3u;
    return hash;
}

/// A packed I420 picture of noise and the frame that points to it.
class CNoisePicture
{
  public:
    CNoisePicture(int width, int height)
        : m_iWidth(width),
          m_iHeight(height),
          m_Bytes(NoiseBytes(static_cast<std::size_t>(width * height + 2 * Chroma(width) * Chroma(height)),
                             static_cast<std::uint32_t>(width * 1000 + height)))
    {
    }

    CodecFrame Frame()
    {
        CodecFrame frame = {};
        frame.data[0] = m_Bytes.data();
        frame.data[1] = frame.data[0] + m_iWidth * m_iHeight;
        frame.data[2] = frame.data[1] + Chroma(m_iWidth) * Chroma(m_iHeight);
        frame.linesize[0] = m_iWidth;
        frame.linesize[1] = frame.linesize[2] = Chroma(m_iWidth);
        frame.format = 1;
        frame.width = m_iWidth;
        frame.height = m_iHeight;
        return frame;
    }

    std::vector<std::uint8_t>& Bytes() { return m_Bytes; }

    static int Chroma(int size) { return (size + 1) / 2; }

  private:
    int m_iWidth;
    int m_iHeight;
    std::vector<std::uint8_t> m_Bytes;
};

/// A target of `rows` rows of `stride` bytes that all hold 0xA5; for I420 its chroma planes follow plane 0.
class CTargetPicture
{
  public:
    CTargetPicture(int format, int stride, int rows)
        : m_Bytes(static_cast<std::size_t>(stride) * static_cast<std::size_t>(rows) * 2, 0xA5),
          m_iFormat(format),
          m_iStride(stride),
          m_iRows(rows)
    {
    }

    ConvertTarget Target()
    {
        const int chromaStride = CNoisePicture::Chroma(m_iStride);
        std::uint8_t* const first = m_Bytes.data();
        std::uint8_t* const u = first + m_iStride * m_iRows;
        return {.data = {first, u, u + chromaStride * CNoisePicture::Chroma(m_iRows), nullptr},
                .linesize = {m_iStride, chromaStride, chromaStride, 0},
                .format = m_iFormat};
    }

    std::span<const std::uint8_t> Row(int row) const
    {
        return std::span(m_Bytes).subspan(static_cast<std::size_t>(row * m_iStride),
                                          static_cast<std::size_t>(m_iStride));
    }
    std::span<const std::uint8_t> First(int bytes) const
    {
        return std::span(m_Bytes).first(static_cast<std::size_t>(bytes));
    }
    bool Untouched() const
    {
        for (const std::uint8_t byte : m_Bytes) {
            if (byte != 0xA5) return false;
        }
        return true;
    }

  private:
    std::vector<std::uint8_t> m_Bytes;
    int m_iFormat;
    int m_iStride;
    int m_iRows;
};
