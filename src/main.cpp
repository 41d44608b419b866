// Tapewright ("Bobinet 2"): a desktop studio for one person recording a spoken-word programme.
#include "base/MemoryTuning.hpp"

#include <cstdio>

int main()
{
    tw::keepFreedMemoryForReuse();
    std::puts(
        "Tapewright (Bobinet 2): the studio window is not built yet; the project document and "
        "its tools are. Run `make test` to exercise them.");
    return 0;
}
