#include "base/MemoryTuning.hpp"

#include <malloc.h>

namespace tw {

void keepFreedMemoryForReuse()
{
    // Blocks up to 32 MiB come from the heap instead of their own mappings, and the heap keeps up
    // to 512 MiB of freed memory instead of trimming it after each large free.
    mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 512 * 1024 * 1024);
}

} // namespace tw
