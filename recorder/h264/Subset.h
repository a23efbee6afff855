#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recorder/h264/Headers.h"

namespace recorder::h264
{

/// Why pictures that can be read, but build on others, do not pass; for the report and standard error.
inline constexpr const char* NO_IDR = "no IDR picture came yet";

/// An access unit as clients get it.
struct Checked {
    enum class EResult {
        Passes,
        Early,    // sound as far as that can be told, but it builds on what came before the first
        Damaged,  // it can't be read: nothing passes before the next IDR picture
        Outside,  // more than a client's decoder reads
        Nothing,  // no picture is in it, as some senders give parameter sets on their own
    };
    EResult result = EResult::Damaged;
    std::string why;  // when it doesn't pass
    bool key = false;
    std::vector<uint8_t> bytes;  // when it passes: the slice, and in front of an IDR one its parameter sets
};

/// Looks at a stream of H.264 picture by picture, down to the macroblocks, and tells whether clients can have
/// it as it is. Trusts nothing in it.
class Subset
{
  public:
    /// The size that clients were told, in pixels; no picture and no unit is larger than maxBytes.
    Subset(int width, int height, size_t maxBytes);

    /// One access unit, units with start codes. Parameter sets are kept for later ones.
    Checked Check(std::span<const uint8_t> accessUnit);
    /// Pictures were left out: the next one is the first.
    void Restart();

  private:
    struct Stored {
        std::vector<uint8_t> unit;
        SequenceSet sequence;
        PictureSet picture;
    };

    Checked Take(std::span<const uint8_t> accessUnit);
    bool TakeSet(std::span<const uint8_t> unit);
    void CheckSlice(std::span<const uint8_t> unit, Checked& checked);
    void CheckOrder(const SliceHeader& slice, const SequenceSet& sequence);
    [[noreturn]] void Doubt(const char* why);

    int m_Width;
    int m_Height;
    size_t m_MaxBytes;
    std::map<uint32_t, Stored> m_Sequences;
    std::map<uint32_t, Stored> m_Pictures;
    // The first IDR picture, or the next one behind damage.
    enum class EAwaits { Nothing, First, Next } m_Awaits = EAwaits::First;
    bool m_Doubted = false;               // there was a reason to doubt the stream, and no whole group since
    std::optional<SliceHeader> m_Before;  // the picture's before
    std::vector<uint8_t> m_SetsInUse;     // of the latest IDR picture
};

}  // namespace recorder::h264
