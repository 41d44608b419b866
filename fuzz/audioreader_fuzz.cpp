// Feeds arbitrary bytes to the audio file reader as a file: it must fail cleanly or read to the
// end and seek, never crash or hang.
#include "audio/AudioFileReader.hpp"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::filesystem::path file = std::filesystem::temp_directory_path() /
                                       ("tapewright-audioreader-fuzz-" + std::to_string(getpid()));
    if (std::FILE* out = std::fopen(file.c_str(), "wb")) {
        if (size > 0)
            std::fwrite(data, 1, size, out);
        std::fclose(out);
    } else {
        return 0;
    }
    if (auto opened = tw::AudioFileReader::open(file)) {
        tw::AudioFileReader& reader = *opened.value();
        const int channels = reader.channels();
        if (channels > 0 && channels <= 64) {
            std::vector<float> buffer(static_cast<std::size_t>(4096) * channels);
            std::int64_t total = 0;
            // Bounded: a hostile header must not make the replay run for long.
            for (int reads = 0; reads < 4096; ++reads) {
                auto got = reader.read(buffer.data(), 4096);
                if (!got || got.value() == 0)
                    break;
                total += got.value();
            }
            for (std::int64_t target : {total / 2, std::int64_t{0}, total + 10, total - 1}) {
                if (reader.seek(target))
                    (void)reader.read(buffer.data(), 100);
            }
        }
    }
    std::filesystem::remove(file);
    return 0;
}
