#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

// One walk over the slots of all kernel tables. The test runs every slot at every capability step on the same
// input and compares with the plain kernel; the bench times the same slots. To take part, a family adds a file
// kernel_walk_FAMILY.cpp beside this one:
//
//     static void RunCopy(CKernelRun& run)
//     {
//         copy_table_t table;
//         copy_init(&table, run.Caps());
//         CKernelPlane from(run, {.width = 16, .rows = 8, .stride = run.Stride(16)});
//         CKernelPlane to(run, {.width = 16, .rows = 8, .stride = run.Stride(16)});
//         from.Fill(run);
//         table.copy16x8(to.Row(0), to.Stride(), from.Row(0), from.Stride());
//         run.Keep(to);
//     }
//     const KernelSlotRegistration COPY_SLOTS(
//         [](std::vector<KernelSlot>& slots) { slots.push_back(...); });

class CKernelRun;

/// One slot of a kernel table.
struct KernelSlot {
    /// Unique, letters, digits and underscores: "convert_yuy2", "c264_idct4_add".
    std::string name;
    /// The kernel that stands in the slot when the table is filled for `caps`; KernelAddress gives the form.
    std::function<const void*(std::uint32_t caps)> select;
    /// Makes input from the run's random numbers, calls the kernel once or over all its sizes, keeps the
    /// output. It must draw the same random numbers whatever the caps.
    std::function<void(CKernelRun& run)> run;
    /// Sets up a typical input (outside the measured time) and returns what runs the kernel `iterations` times
    /// on it.
    std::function<std::function<void(int iterations)>(std::uint32_t caps)> time;
    /// How often `run` is called at each step.
    int rounds = 100;
};

template <class Function>
const void* KernelAddress(Function* kernel)
{
    return reinterpret_cast<const void*>(kernel);
}

/// A static object of this type adds a family's slots to the walk.
struct KernelSlotRegistration {
    explicit KernelSlotRegistration(void (*add)(std::vector<KernelSlot>&));
};

/// All registered slots, by name.
std::vector<KernelSlot> AllKernelSlots();

/// A capability step; the later ones hold the bits of the earlier ones.
struct KernelStep {
    const char* name;
    std::uint32_t caps;
    bool available;  ///< the processor that runs this has it
};

/// Plain, SSE2, SSSE3, AVX2.
const std::vector<KernelStep>& KernelSteps();

/// The steps at which `slot` gets another kernel than at the step before it, on this processor; never the plain
/// one.
std::vector<KernelStep> ChangedSteps(const KernelSlot& slot);

/// Compares every step that changed the slot with the plain kernel. One line for each fault, with slot, step,
/// round and seed; empty when all is well.
std::vector<std::string> ProveKernel(const KernelSlot& slot, std::uint32_t seed);

/// The seed of the environment variable WATCHWALL_KERNEL_SEED, or a fixed one.
std::uint32_t KernelSeed();

/// A rectangle of bytes in memory that ends in unreadable pages. All bytes outside of the rectangle are
/// watched.
struct KernelPlaneShape {
    int width = 0;              ///< bytes of a row that the kernel may write
    int rows = 0;               ///< rows that the kernel may write
    std::ptrdiff_t stride = 0;  ///< from row to next row; may be odd or negative; 0 means width and the pads
    int align = 1;              ///< what the address of row 0 is a multiple of, a power of two
    int padLeft = 0;            ///< bytes beside each row that the kernel may read
    int padRight = 0;
    int padTop = 0;  ///< rows above and below that the kernel may read
    int padBottom = 0;
};

/// Input or output of one kernel call. The kernel may write the rectangle and read its pads; a write anywhere
/// else is found by Keep or Check, and a read or write beyond the first or last readable byte mostly hits an
/// unreadable page.
class CKernelPlane
{
  public:
    CKernelPlane(CKernelRun& run, const KernelPlaneShape& shape);
    ~CKernelPlane();
    CKernelPlane(const CKernelPlane&) = delete;
    CKernelPlane& operator=(const CKernelPlane&) = delete;

    std::uint8_t* Row(int row);
    const std::uint8_t* Row(int row) const;
    template <class T>
    T* RowAs(int row)
    {
        return reinterpret_cast<T*>(Row(row));
    }
    std::ptrdiff_t Stride() const { return m_Shape.stride; }
    int Width() const { return m_Shape.width; }
    int Rows() const { return m_Shape.rows; }

    /// Fills rectangle and pads with random bytes or with one of the worst patterns: all 0, all 255, extremes
    /// that alternate by column, row or both, random extremes, a ramp.
    void Fill(CKernelRun& run);
    /// Fills rectangle and pads with 16-bit values of [low, high]: random, one of the extremes, or a few among
    /// zeros.
    void Fill16(CKernelRun& run, int low, int high);

    /// Empty, or which byte outside of the rectangle was written.
    std::string Check() const;

  private:
    void Remember();

    struct Slab;
    KernelPlaneShape m_Shape;
    std::unique_ptr<Slab> m_pSlab;
    std::uint8_t* m_pFirst = nullptr;  // row 0, column 0; inside the slab
    std::vector<std::uint8_t> m_Before;
};

/// One call of KernelSlot::run: its random numbers and what it produced.
class CKernelRun
{
  public:
    CKernelRun(std::uint32_t caps, std::uint32_t seed) : m_dwCaps(caps), m_Random(seed) {}

    std::uint32_t Caps() const { return m_dwCaps; }
    std::mt19937& Random() { return m_Random; }
    /// A random number of [low, high].
    int Pick(int low, int high);
    /// A random stride for rows of `bytes`: at least as large, odd as often as even, negative in one of four.
    std::ptrdiff_t Stride(int bytes);

    /// Adds the rectangle to the output that is compared, and checks the bytes around it.
    void Keep(const CKernelPlane& plane);
    /// Adds a result to the output that is compared.
    void Keep(const void* data, std::size_t bytes);

    const std::vector<std::uint8_t>& Output() const { return m_Output; }
    const std::string& Fault() const { return m_strFault; }

  private:
    std::uint32_t m_dwCaps;
    std::mt19937 m_Random;
    std::vector<std::uint8_t> m_Output;
    std::string m_strFault;
};
