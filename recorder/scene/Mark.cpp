#include "recorder/scene/Mark.h"

#include <algorithm>
#include <array>

namespace recorder
{

namespace
{

constexpr int BLOCK = 8;
constexpr int BLOCKS_ACROSS = MARK_WIDTH / BLOCK;
constexpr int BITS = 48;
constexpr uint8_t DARK = 24;
constexpr uint8_t BRIGHT = 227;

// CRC-8 with the polynomial x^8 + x^2 + x + 1.
uint8_t Checksum(uint64_t payload)
{
    uint8_t crc = 0xFF;
    for (int shift = 32; shift >= 0; shift -= 8) {
        crc = static_cast<uint8_t>(crc ^ (payload >> shift & 0xFF));
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<uint8_t>(crc << 1 ^ (crc & 0x80 ? 0x07 : 0));
    }
    return crc;
}

// Top left corner of a block, in luma samples.
struct Corner {
    int x;
    int y;
};

Corner CornerOf(int block, int pictureHeight)
{
    return {block % BLOCKS_ACROSS * BLOCK, pictureHeight - MARK_HEIGHT + block / BLOCKS_ACROSS * BLOCK};
}

}  // namespace

void DrawMark(const Mark& mark, Picture& picture)
{
    const uint64_t payload = uint64_t{mark.picture} << 8 | static_cast<uint8_t>(mark.channel);
    const uint64_t bits = payload << 8 | Checksum(payload);
    for (int block = 0; block < BITS; ++block) {
        const auto [x, y] = CornerOf(block, picture.height);
        const uint8_t value = bits >> (BITS - 1 - block) & 1 ? BRIGHT : DARK;
        for (int row = 0; row < BLOCK; ++row)
            std::fill_n(picture.y.begin() + (y + row) * picture.width + x, BLOCK, value);
        for (int row = 0; row < BLOCK / 2; ++row) {
            const int at = (y / 2 + row) * (picture.width / 2) + x / 2;
            std::fill_n(picture.u.begin() + at, BLOCK / 2, uint8_t{128});
            std::fill_n(picture.v.begin() + at, BLOCK / 2, uint8_t{128});
        }
    }
}

std::optional<Mark> ReadMark(const Picture& picture)
{
    if (picture.width < MARK_WIDTH || picture.height < MARK_HEIGHT) return {};
    uint64_t bits = 0;
    for (int block = 0; block < BITS; ++block) {
        const auto [x, y] = CornerOf(block, picture.height);
        int sum = 0;  // of the inner 4x4, away from what leaks in from neighbours
        for (int row = 2; row < 6; ++row)
            for (int column = 2; column < 6; ++column)
                sum += *(picture.y.begin() + (y + row) * picture.width + x + column);
        bits = bits << 1 | (sum > 16 * 128 ? 1 : 0);
    }
    const uint64_t payload = bits >> 8;
    if (Checksum(payload) != (bits & 0xFF)) return {};
    return Mark{static_cast<uint32_t>(payload >> 8), static_cast<int>(payload & 0xFF)};
}

}  // namespace recorder
