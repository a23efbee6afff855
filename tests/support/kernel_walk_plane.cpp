#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <stdexcept>

#include "tests/support/kernel_walk.h"

namespace
{

std::size_t PageBytes()
{
    static const auto bytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return bytes;
}

// Readable memory between two unreadable pages. Slabs are kept for the next plane: a walk makes very many of
// them.
struct Mapping {
    std::uint8_t* base = nullptr;
    std::size_t bytes = 0;
};

std::multimap<std::size_t, Mapping>& FreeMappings()
{
    thread_local std::multimap<std::size_t, Mapping> mappings;
    return mappings;
}

Mapping TakeMapping(std::size_t least)
{
    const std::size_t bytes = std::bit_ceil(std::max(least, PageBytes()));
    auto& pool = FreeMappings();
    if (const auto found = pool.find(bytes); found != pool.end()) {
        const Mapping mapping = found->second;
        pool.erase(found);
        return mapping;
    }
    void* const whole = mmap(nullptr, bytes + 2 * PageBytes(), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (whole == MAP_FAILED) throw std::bad_alloc();
    auto* const base = static_cast<std::uint8_t*>(whole) + PageBytes();
    if (mprotect(base, bytes, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
    return {base, bytes};
}

// A cheap source of noise for the watched bytes.
class CNoise
{
  public:
    explicit CNoise(std::uint32_t seed) : m_State(seed * 0x9E3779B97F4A7C15u + 1) {}
    std::uint8_t Byte()
    {
        m_State ^= m_State << 13;
        m_State ^= m_State >> 7;
        m_State ^= m_State << 17;
        return static_cast<std::uint8_t>(m_State >> 32);
    }

  private:
    std::uint64_t m_State;
};

}  // namespace

struct CKernelPlane::Slab {
    explicit Slab(std::size_t least) : mapping(TakeMapping(least)) {}
    ~Slab() { FreeMappings().emplace(mapping.bytes, mapping); }
    Slab(const Slab&) = delete;
    Slab& operator=(const Slab&) = delete;
    Mapping mapping;
};

CKernelPlane::CKernelPlane(CKernelRun& run, const KernelPlaneShape& shape) : m_Shape(shape)
{
    const std::ptrdiff_t rowBytes = shape.padLeft + shape.width + shape.padRight;
    const int allRows = shape.padTop + shape.rows + shape.padBottom;
    if (shape.width < 1 || shape.rows < 1 || !std::has_single_bit(static_cast<unsigned>(shape.align)))
        throw std::invalid_argument("CKernelPlane: bad shape");
    if (m_Shape.stride == 0) m_Shape.stride = rowBytes;
    const std::ptrdiff_t step = std::abs(m_Shape.stride);
    if (allRows > 1 && step < rowBytes)
        throw std::invalid_argument("CKernelPlane: stride below the row's bytes");

    // Where the readable bytes begin and end, seen from row 0.
    const std::ptrdiff_t above = m_Shape.stride > 0 ? shape.padTop : shape.rows - 1 + shape.padBottom;
    const std::ptrdiff_t span = step * (allRows - 1) + rowBytes;
    const std::ptrdiff_t lead = above * step + shape.padLeft;
    m_pSlab = std::make_unique<Slab>(static_cast<std::size_t>(span + 128 + shape.align));

    // At the first bytes of the slab, at its last ones, or somewhere: as near as the alignment lets it.
    std::uint8_t* const base = m_pSlab->mapping.base;
    const auto slack = static_cast<std::ptrdiff_t>(m_pSlab->mapping.bytes) - span;
    const int place = run.Pick(0, 2);
    std::ptrdiff_t offset = place == 0   ? 0
                            : place == 1 ? slack
                                         : run.Pick(0, static_cast<int>(std::min<std::ptrdiff_t>(slack, 127)));
    const int direction = place == 1 ? -1 : 1;
    const auto misaligned = [&] {
        const auto address = reinterpret_cast<std::uintptr_t>(base + offset + lead);
        return (address & static_cast<std::uintptr_t>(shape.align - 1)) != 0;
    };
    while (misaligned()) {
        offset += direction;
        if (offset < 0 || offset > slack) throw std::logic_error("CKernelPlane: no place");
    }
    m_pFirst = base + offset + lead;

    CNoise noise(run.Random()());
    std::generate_n(base, m_pSlab->mapping.bytes, [&] { return noise.Byte(); });
    Remember();
}

CKernelPlane::~CKernelPlane() = default;

std::uint8_t* CKernelPlane::Row(int row)
{
    return m_pFirst + row * m_Shape.stride;
}

const std::uint8_t* CKernelPlane::Row(int row) const
{
    return m_pFirst + row * m_Shape.stride;
}

void CKernelPlane::Remember()
{
    m_Before.assign(m_pSlab->mapping.base, m_pSlab->mapping.base + m_pSlab->mapping.bytes);
}

void CKernelPlane::Fill(CKernelRun& run)
{
    const int pattern = run.Pick(0, 9);
    CNoise noise(run.Random()());
    for (int y = -m_Shape.padTop; y < m_Shape.rows + m_Shape.padBottom; ++y) {
        std::uint8_t* const row = Row(y);
        for (int x = -m_Shape.padLeft; x < m_Shape.width + m_Shape.padRight; ++x) {
            const std::uint8_t random = noise.Byte();
            switch (pattern) {
                case 0:
                    row[x] = 0;
                    break;
                case 1:
                    row[x] = 255;
                    break;
                case 2:
                    row[x] = (x & 1) != 0 ? 255 : 0;
                    break;
                case 3:
                    row[x] = (y & 1) != 0 ? 255 : 0;
                    break;
                case 4:
                    row[x] = ((x ^ y) & 1) != 0 ? 255 : 0;
                    break;
                case 5:
                    row[x] = (random & 1) != 0 ? 255 : 0;
                    break;
                case 6:
                    row[x] = static_cast<std::uint8_t>(x + y);
                    break;
                default:
                    row[x] = random;
                    break;
            }
        }
    }
    Remember();
}

void CKernelPlane::Fill16(CKernelRun& run, int low, int high)
{
    const int pattern = run.Pick(0, 5);
    const auto value = [&]() -> int {
        switch (pattern) {
            case 0:
                return low;
            case 1:
                return high;
            case 2:
                return run.Pick(0, 1) != 0 ? low : high;
            case 3:
                return run.Pick(0, 7) != 0 ? std::clamp(0, low, high) : run.Pick(low, high);
            default:
                return run.Pick(low, high);
        }
    };
    for (int y = -m_Shape.padTop; y < m_Shape.rows + m_Shape.padBottom; ++y) {
        for (int x = -m_Shape.padLeft; x + 1 < m_Shape.width + m_Shape.padRight; x += 2) {
            const auto sample = static_cast<std::int16_t>(value());
            std::memcpy(Row(y) + x, &sample, sizeof sample);
        }
    }
    Remember();
}

std::string CKernelPlane::Check() const
{
    // The slab with the rectangle as it was must be the slab as it is.
    std::vector<std::uint8_t> now(m_pSlab->mapping.base, m_pSlab->mapping.base + m_pSlab->mapping.bytes);
    for (int row = 0; row < m_Shape.rows; ++row) {
        const std::ptrdiff_t at = Row(row) - m_pSlab->mapping.base;
        std::copy_n(m_Before.begin() + at, m_Shape.width, now.begin() + at);
    }
    if (now == m_Before) return {};
    const auto found = std::mismatch(now.begin(), now.end(), m_Before.begin()).first;
    const std::ptrdiff_t distance = m_pSlab->mapping.base + (found - now.begin()) - m_pFirst;
    return "writes outside of its " + std::to_string(m_Shape.width) + " by " + std::to_string(m_Shape.rows) +
           " rectangle with stride " + std::to_string(m_Shape.stride) + ": " + std::to_string(distance) +
           " bytes from its first byte";
}
