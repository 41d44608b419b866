// bench_waveform_file <file>: computes the peak envelope of one file and prints its size.
// bench_waveform_file --make-take <file.caf> <seconds>: writes a mono 48 kHz take with the
// project's own CAF writer, as the recorder does, for the comparison script to time.
#include "audio/CafWriter.hpp"
#include "capture/Waveform.hpp"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace {

int makeTake(const char* path, double seconds)
{
    auto writer = tw::CafWriter::create(path, 48000, 1);
    if (!writer) {
        std::fprintf(stderr, "%s\n", writer.error().description.c_str());
        return 1;
    }
    std::mt19937 random(1);
    std::normal_distribution<float> noise(0.0f, 0.05f);
    std::vector<float> buffer(4096);
    const long long total = static_cast<long long>(seconds * 48000);
    for (long long done = 0; done < total; done += static_cast<long long>(buffer.size())) {
        for (std::size_t i = 0; i < buffer.size(); ++i) {
            const double t = static_cast<double>(done + static_cast<long long>(i)) / 48000.0;
            buffer[i] = 0.3f * static_cast<float>(std::sin(2 * std::numbers::pi * 180.0 * t)) +
                        noise(random);
        }
        const int frames = static_cast<int>(std::min<long long>(4096, total - done));
        if (!writer.value()->writeInterleaved(buffer.data(), frames)) {
            std::fprintf(stderr, "write failed\n");
            return 1;
        }
    }
    return writer.value()->close() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && std::string(argv[1]) == "--make-take")
        return makeTake(argv[2], std::atof(argv[3]));
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <audio file> | --make-take <file.caf> <seconds>\n",
                     argv[0]);
        return 2;
    }
    auto result = tw::waveform(argv[1]);
    if (!result) {
        std::fprintf(stderr, "%s\n", result.error().description.c_str());
        return 1;
    }
    std::printf("%zu peaks, %.3f s\n", result.value().peaks.size(), result.value().duration);
    return 0;
}
