#include "host/LargeBlocks.h"

#include <malloc.h>

namespace
{

constexpr int OWN_BLOCK_BYTES = 1 << 20;  // from this size on a block is the system's by itself

}  // namespace

// The library raises the size by itself otherwise, to that of what was freed.
void GiveLargeBlocksBack()
{
    static_cast<void>(::mallopt(M_MMAP_THRESHOLD, OWN_BLOCK_BYTES));
}
