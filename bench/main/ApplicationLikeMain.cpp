// main() for the benchmarks that time Studio and document work: memory is tuned as the
// application tunes it, so that freed copies are reused the same way.
#include "base/MemoryTuning.hpp"
#include "main/RunBenchmarks.hpp"

int main(int argc, char** argv)
{
    tw::keepFreedMemoryForReuse();
    return runBenchmarks(argc, argv);
}
