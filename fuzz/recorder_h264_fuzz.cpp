// What the recorder reads of a camera's H.264 before it passes it on: units, parameter sets, slices and
// macroblocks in both entropy codings. The first byte says of which size the channel is; pictures are cut at
// the slices.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "recorder/h264/AnnexB.h"
#include "recorder/h264/Subset.h"

namespace
{

using namespace recorder;

constexpr size_t MAX_BYTES = 65536;

void CheckOne(h264::Subset& subset, std::span<const uint8_t> accessUnit)
{
    const h264::Checked checked = subset.Check(accessUnit);
    const bool passes = checked.result == h264::Checked::EResult::Passes;
    if (checked.bytes.empty() == passes || checked.why.empty() != passes) std::abort();
    if (!passes) return;
    if (checked.bytes.size() > MAX_BYTES) std::abort();
    // What passed once passes again, alone when it is a key picture.
    if (!checked.key) return;
    h264::Subset other = subset;
    if (other.Check(checked.bytes).result != h264::Checked::EResult::Passes) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) return 0;
    h264::Subset subset(16 * (1 + data[0] % 4), 16 * (1 + data[0] / 4 % 4), MAX_BYTES);
    const std::span<const uint8_t> stream(data + 1, size - 1);
    size_t begin = 0;
    for (const auto unit : SplitUnits(stream)) {
        const auto end = static_cast<size_t>(unit.data() - stream.data()) + unit.size();
        if (UnitType(unit) != EUnit::Slice && UnitType(unit) != EUnit::IdrSlice) continue;
        CheckOne(subset, stream.subspan(begin, end - begin));
        begin = end;
    }
    CheckOne(subset, stream.subspan(begin));
    return 0;
}
