#include "recorder/h264/Subset.h"

#include <algorithm>
#include <utility>

#include "recorder/h264/AnnexB.h"
#include "recorder/h264/Macroblocks.h"

namespace recorder::h264
{

namespace
{

constexpr const char* NO_PICTURE = "there is no picture";
constexpr uint32_t HIGH = 100;

void Append(std::vector<uint8_t>& bytes, std::span<const uint8_t> unit)
{
    bytes.insert(bytes.end(), {0, 0, 0, 1});
    bytes.insert(bytes.end(), unit.begin(), unit.end());
}

// Of a picture that builds on what came before the first.
class Early : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

// Units that say nothing about the picture.
bool IsBeside(EUnit type)
{
    constexpr int DELIMITER = 9;
    constexpr int FILLER = 12;
    return type == EUnit::Sei || (static_cast<int>(type) >= DELIMITER && static_cast<int>(type) <= FILLER);
}

bool IsSlice(std::span<const uint8_t> unit)
{
    return UnitType(unit) == EUnit::Slice || UnitType(unit) == EUnit::IdrSlice;
}

}  // namespace

Subset::Subset(int width, int height, size_t maxBytes) : m_Width(width), m_Height(height), m_MaxBytes(maxBytes)
{
}

void Subset::Restart()
{
    m_Awaits = EAwaits::First;
}

Checked Subset::Check(std::span<const uint8_t> accessUnit)
{
    Checked checked;
    try {
        return Take(accessUnit);
    } catch (const Early& early) {
        checked.result = Checked::EResult::Early;
        checked.why = early.what();
        return checked;
    } catch (const Outside& outside) {
        checked.result = Checked::EResult::Outside;
        checked.why = outside.what();
    } catch (const Damaged& damaged) {
        checked.why = damaged.what();
    }
    m_Awaits = EAwaits::Next;
    return checked;
}

Checked Subset::Take(std::span<const uint8_t> accessUnit)
{
    Checked checked;
    const auto units = SplitUnits(accessUnit);
    const auto slices = std::count_if(units.begin(), units.end(), IsSlice);
    for (const auto unit : units) {
        if ((unit[0] & 0x80) != 0) throw Damaged("a unit's header");
        const EUnit type = UnitType(unit);
        if (IsBeside(type) || TakeSet(unit)) continue;
        if (!IsSlice(unit)) throw Outside("it has units of other kinds");
        if (slices > 1) throw Outside("it has several slices a picture");
        CheckSlice(unit, checked);
    }
    if (units.empty()) throw Damaged(NO_PICTURE);
    if (slices == 0) {
        checked.result = Checked::EResult::Nothing;
        checked.why = NO_PICTURE;
        return checked;
    }
    if (checked.bytes.size() > m_MaxBytes) throw Outside("it has pictures that are too large");
    checked.result = Checked::EResult::Passes;
    return checked;
}

// Whether it is a parameter set. One that a client's decoder doesn't read is outside, used or not.
bool Subset::TakeSet(std::span<const uint8_t> unit)
{
    const EUnit type = UnitType(unit);
    if (type != EUnit::SequenceSet && type != EUnit::PictureSet) return false;
    const std::vector<uint8_t> payload = Unescape(unit);
    Stored stored{{unit.begin(), unit.end()}, {}, {}};
    if (type == EUnit::SequenceSet) {
        stored.sequence = ReadSequenceSet(payload);
        m_Sequences[stored.sequence.id] = std::move(stored);
    } else {
        stored.picture = ReadPictureSet(payload);
        m_Pictures[stored.picture.id] = std::move(stored);
    }
    return true;
}

void Subset::CheckSlice(std::span<const uint8_t> unit, Checked& checked)
{
    if (RefIdc(unit) == 0) throw Outside("it has pictures that nothing refers to");
    const std::vector<uint8_t> payload = Unescape(unit);
    const bool idr = UnitType(unit) == EUnit::IdrSlice;
    const auto picture = m_Pictures.find(PictureSetOf(payload));
    const auto sequence =
        picture == m_Pictures.end() ? m_Sequences.end() : m_Sequences.find(picture->second.picture.sequence);
    if (sequence == m_Sequences.end()) {
        if (m_Awaits == EAwaits::First && !idr) throw Early(NO_IDR);
        throw Damaged("a picture's parameter set is missing");
    }
    const SequenceSet& set = sequence->second.sequence;
    if (16 * set.widthInMacroblocks != m_Width || 16 * set.heightInMacroblocks != m_Height)
        throw Outside("its size is " + std::to_string(16 * set.widthInMacroblocks) + "x" +
                      std::to_string(16 * set.heightInMacroblocks) + ", not that of the channel");
    // There a client reads the second offset whether or not it stands there, and finds 0.
    if (set.profile == HIGH && picture->second.picture.chromaOnce)
        throw Outside("its second chroma offset is not told");

    BitReader bits(payload);
    const SliceHeader slice = ReadSliceHeader(bits, idr, set, picture->second.picture);
    std::vector<uint8_t> sets;
    Append(sets, sequence->second.unit);
    Append(sets, picture->second.unit);
    if (idr) {
        m_SetsInUse = sets;
        checked.bytes = sets;
    } else {
        if (m_Awaits == EAwaits::First) throw Early(NO_IDR);
        if (m_Awaits == EAwaits::Next) throw Damaged(NO_IDR);
        // In this order: the picture that is missing may be the IDR one that the sets belong to.
        CheckOrder(slice, set);
        // A client has what came with the latest IDR picture.
        if (sets != m_SetsInUse) Doubt("its parameter sets change between IDR pictures");
    }
    ReadMacroblocks(bits, slice, set, picture->second.picture.cabac);
    // A whole group lies between this one and the IDR picture before.
    if (idr && m_Awaits == EAwaits::Nothing) m_Doubted = false;
    m_Before = slice;
    m_Awaits = EAwaits::Nothing;
    checked.key = idr;
    Append(checked.bytes, unit);
}

// Pictures are shown in the order in which they come, and none is missing.
void Subset::CheckOrder(const SliceHeader& slice, const SequenceSet& sequence)
{
    const uint32_t frames = 1U << sequence.frameNumBits;
    if (slice.frameNum != (m_Before->frameNum + 1) % frames) throw Damaged("a picture is missing");
    if (sequence.orderType != 0) return;
    const uint32_t orders = 1U << sequence.orderBits;
    const uint32_t step = (slice.order - m_Before->order) % orders;
    if (step == 0 || step >= orders / 2) Doubt("it shows pictures in another order");
}

// Of what pictures are to each other: lost ones may look like it, when as many are lost as the numbers go round
// with, but hardly again and again.
void Subset::Doubt(const char* why)
{
    if (std::exchange(m_Doubted, true)) throw Outside(why);
    throw Damaged(why);
}

}  // namespace recorder::h264
