#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

// Pixels for the tests of the H.264 kernels.

/// A plane of 64 by 64 pixels with a block in its middle; everything around the block can be looked at.
class CTestPlane
{
  public:
    static constexpr int SIZE = 64;
    static constexpr int ORIGIN = 24;  ///< column and row of the block

    /// `fill` is what all pixels begin with.
    explicit CTestPlane(uint8_t fill = 0) : m_Pixels(SIZE * SIZE, fill) {}

    /// The pixel x to the right of and y below the block's top-left one; negative values are the neighbours.
    uint8_t& At(int x, int y) { return m_Pixels[Index(x, y)]; }
    uint8_t At(int x, int y) const { return m_Pixels[Index(x, y)]; }
    uint8_t* Block() { return &At(0, 0); }
    static constexpr ptrdiff_t Stride() { return SIZE; }

    /// Random pixels; every fourth round only the extremes 0 and 255, which is where clipping shows.
    void Fill(std::mt19937& random, int round)
    {
        for (uint8_t& pixel : m_Pixels) {
            const uint32_t value = random();
            pixel = static_cast<uint8_t>(round % 4 == 3 ? ((value & 1) != 0 ? 255 : 0) : value >> 8);
        }
    }

    bool operator==(const CTestPlane&) const = default;

  private:
    static size_t Index(int x, int y)
    {
        return static_cast<size_t>(ORIGIN + y) * SIZE + static_cast<size_t>(ORIGIN + x);
    }

    std::vector<uint8_t> m_Pixels;
};

inline constexpr int TEST_ROUNDS = 40;
