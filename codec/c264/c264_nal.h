// Splitting a stream into NAL units (ITU-T H.264 7.3.1, annex B), and the checksum of the private scheme.
#pragma once

#include <cstddef>
#include <cstdint>

struct C264Nal {
    int32_t nal_ref_idc;
    int32_t nal_unit_type;  ///< -1: no unit found
    size_t size;            ///< bytes of the payload, unescaped
    uint8_t* payload;       ///< in the scratch
};

/// Splits the first unit of a start-code stream: what stands between the first 00 00 01 and the next start code
/// or the end, without the header byte.
///   to, room   where the unescaped payload goes; what doesn't fit is cut off
/// \returns the bytes up to the next start code; `bytes` when there is none.
///
/// oddity: start-code-at-end; a start code counts as the unit's end only when a byte follows its shorter form.
size_t c264_split_start_code(const uint8_t* data, size_t bytes, uint8_t* to, size_t room, C264Nal* nal);

/// What a stream of length-prefixed units still lacks: decides what is looked for in a unit.
enum class c264_wanted { nothing, sps, pps };

/// Splits the first unit of a stream whose units follow their length in four bytes, high byte first. While a
/// parameter set is wanted, its header byte (0x67, 0x68) is looked for in the unit's first 64 bytes, and a unit
/// without it is skipped: type -1.
/// \returns the bytes of the unit with its length, at most `bytes`; 0 when a wanted SPS was found, so that the
/// unit is read once more for its PPS.
size_t c264_split_length(const uint8_t* data, size_t bytes, c264_wanted wanted, uint8_t* to, size_t room,
                         C264Nal* nal);

/// The devices' checksum: the payload as one number, high byte first, modulo `modulus` (not 0).
uint32_t c264_checksum(const uint8_t* payload, size_t bytes, uint32_t modulus);
