#pragma once

#include <cstdint>
#include <span>

#include "recorder/h264/Bits.h"

namespace recorder::h264
{

/// What a client's small decoder doesn't read, in words for the report.
class Outside : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

struct SequenceSet {
    uint32_t id = 0;
    uint32_t profile = 0;
    int frameNumBits = 4;
    int orderType = 0;  // 0 or 2
    int orderBits = 4;
    int widthInMacroblocks = 0;
    int heightInMacroblocks = 0;

    bool operator==(const SequenceSet&) const = default;
};

struct PictureSet {
    uint32_t id = 0;
    uint32_t sequence = 0;
    bool cabac = false;
    bool deblockingControl = false;
    uint32_t references = 1;
    int qp = 26;
    bool chromaOnce = false;  // there is a chroma offset, and the set ends before the second one

    bool operator==(const PictureSet&) const = default;
};

struct SliceHeader {
    bool idr = false;
    bool intra = false;
    uint32_t frameNum = 0;
    uint32_t order = 0;  // of type 0
    int contexts = 0;    // of CABAC: 0 in an I slice, else 1 + cabac_init_idc
    int qp = 26;
};

/// These read the payload of a unit and throw Damaged, or Outside when it asks for more than frames of one I or
/// P slice with one reference and the plain tools.
SequenceSet ReadSequenceSet(std::span<const uint8_t> payload);
PictureSet ReadPictureSet(std::span<const uint8_t> payload);
/// The id of the picture set that a slice names.
uint32_t PictureSetOf(std::span<const uint8_t> payload);
/// Leaves the reader at the slice's data.
SliceHeader ReadSliceHeader(BitReader& bits, bool idr, const SequenceSet& sequence, const PictureSet& picture);

}  // namespace recorder::h264
