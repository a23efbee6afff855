#pragma once

#include <cstdint>
#include <span>
#include <vector>

// Units of an H.264 byte stream (ISO/IEC 14496-10, annex B).
namespace recorder
{

enum class EUnit { Slice = 1, IdrSlice = 5, Sei = 6, SequenceSet = 7, PictureSet = 8 };

/// The units, from their header byte on; without the zeros after them.
std::vector<std::span<const uint8_t>> SplitUnits(std::span<const uint8_t> stream);
EUnit UnitType(std::span<const uint8_t> unit);
/// nal_ref_idc
int RefIdc(std::span<const uint8_t> unit);

/// What follows the header byte, without the bytes that keep start codes out of it.
std::vector<uint8_t> Unescape(std::span<const uint8_t> unit);
/// Appends start code, header byte and payload with these bytes.
void AppendUnit(std::vector<uint8_t>& stream, uint8_t header, std::span<const uint8_t> payload);

/// The checksum of a private scheme by which clients notice damage: an SEI unit announces how many bits it has,
/// and from then on each unit with nal_ref_idc above 0 is followed by the bytes that make its payload, taken as
/// one number, a multiple of the modulus.
enum class EChecksum { None, Sixteen, ThirtyTwo };
inline constexpr uint32_t MODULUS_16 = 32749;       // primes, below half of the range, so that a
inline constexpr uint32_t MODULUS_32 = 2147483647;  // last byte that isn't zero can be had

/// The same picture with checksums; its SEI units go, the announcement stands in front of parameter sets.
std::vector<uint8_t> WithChecksum(std::span<const uint8_t> stream, EChecksum checksum);

}  // namespace recorder
