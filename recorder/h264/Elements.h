#pragma once

#include <cstddef>
#include <memory>

#include "recorder/h264/Headers.h"

namespace recorder::h264
{

/// What a block's coefficients are (ctxBlockCat).
enum class EBlock { Intra16Dc, Intra16Ac, Luma, ChromaDc, ChromaAc };

/// What the two blocks beside one are to its entropy coding.
struct Beside {
    int count = 0;  // coefficients of the blocks to the left and above, as nC has them
    bool leftCoded = false;
    bool aboveCoded = false;
};

/// What the macroblocks to the left and above are to the elements of one; all false for what isn't there.
struct Around {
    int notSkipped = 0;     // how many of the two
    int notIntra4 = 0;      // how many are intra, but not 4x4
    int chromaModes = 0;    // how many have an intra chroma mode above 0
    int chromaCoded = 0;    // 1 to the left + 2 above: has chroma coefficients
    int chromaAcCoded = 0;  // likewise: AC
    int left8x8Empty = 0;  // bits by 8x8 block of the macroblock to the left: its pattern says that it is empty
    int above8x8Empty = 0;
};

/// A raw macroblock's samples of 8 bits: luma and both chroma.
inline constexpr size_t RAW_BYTES = 256 + 2 * 64;

/// The elements of macroblocks in one of the two entropy codings. Throws Damaged.
class IElements
{
  public:
    virtual ~IElements() = default;
    /// Of a P slice, before each macroblock.
    virtual bool Skipped(const Around& around) = 0;
    /// Behind each macroblock.
    virtual bool More() = 0;
    /// Whether nothing is left when there is no more.
    virtual bool AtEnd() const = 0;
    /// As in the tables of its slice type: in P slices intra types begin with 5.
    virtual uint32_t Type(bool intraSlice, const Around& around) = 0;
    virtual uint32_t SubType() = 0;
    /// The difference's size. sum: of those of the same component to the left and above.
    virtual int Difference(int component, int sum) = 0;
    virtual void Intra4x4Mode() = 0;
    virtual uint32_t ChromaMode(const Around& around) = 0;
    /// The samples of a raw macroblock, behind its type.
    virtual void Raw() = 0;
    virtual uint32_t Pattern(bool intra, const Around& around) = 0;
    /// Whether it isn't zero. before: of the macroblock before.
    virtual bool QpDelta(bool before) = 0;
    /// How many coefficients a block of so many has.
    virtual int Block(EBlock kind, int most, const Beside& beside) = 0;
};

/// Over the slice's data; bits and slice outlive it.
std::unique_ptr<IElements> MakeCavlc(BitReader& bits);
std::unique_ptr<IElements> MakeCabac(BitReader& bits, const SliceHeader& slice);

}  // namespace recorder::h264
