// The voice treatment over a whole audio file, for the comparison with SoX: reads the file (WAV,
// CAF, anything FFmpeg decodes) into memory, then treats it in the offline renderer's 8192-frame
// blocks with the heaviest treatment and throws the result away. Prints the processing time and
// the real-time factor; the whole program's run time is what the comparison script measures.
// Without a file (as `make bench` runs it) it treats a minute of synthetic speech-like audio.
#include "audio/AudioFileReader.hpp"
#include "support/Treatments.hpp"
#include "voice/VoiceDSP.hpp"
#include "voice/VoiceProcessor.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <numbers>
#include <random>
#include <string_view>
#include <vector>

int main(int argc, char** argv)
{
    using namespace tw;
    std::vector<float> samples;
    int channels = 1;
    double rate = 48000.0;
    if (argc >= 2 && std::string_view(argv[1]).substr(0, 2) != "--") {
        auto reader = AudioFileReader::open(argv[1]);
        if (!reader) {
            std::fprintf(stderr, "%s\n", reader.error().description.c_str());
            return 1;
        }
        AudioFileReader& file = *reader.value();
        channels = file.channels();
        rate = file.sampleRate();
        samples.resize(static_cast<std::size_t>(file.length()) * channels);
        std::size_t filled = 0;
        while (filled < samples.size()) {
            auto got = file.read(samples.data() + filled,
                                 static_cast<int>(std::min<std::size_t>(
                                     8192, (samples.size() - filled) / channels)));
            if (!got || got.value() == 0)
                break;
            filled += static_cast<std::size_t>(got.value()) * channels;
        }
        samples.resize(filled);
    } else {
        // Noise and a tone under a syllable-rate envelope with pauses.
        std::mt19937 random(9);
        std::uniform_real_distribution<double> unit(-1.0, 1.0);
        samples.resize(static_cast<std::size_t>(60 * rate));
        for (std::size_t i = 0; i < samples.size(); ++i) {
            double t = static_cast<double>(i) / rate;
            double syllables = std::max(0.0, std::sin(2.0 * std::numbers::pi * 3.0 * t));
            samples[i] = static_cast<float>(
                0.4 * syllables *
                (0.5 * std::sin(2.0 * std::numbers::pi * 180.0 * t) + 0.5 * unit(random)));
        }
    }
    if (samples.empty()) {
        std::fprintf(stderr, "no audio\n");
        return 1;
    }
    const std::size_t frames = samples.size() / channels;

    VoiceDSP dsp(test::fullTreatment());
    dsp.prepare(rate, channels);

    // Wall time, and this thread's processor time, which a busy machine inflates less.
    auto threadSeconds = [] {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
    };
    const double startCpu = threadSeconds();
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t offset = 0; offset < frames; offset += VoiceProcessor::blockFrames) {
        const int count =
            static_cast<int>(std::min<std::size_t>(VoiceProcessor::blockFrames, frames - offset));
        AudioBufferList list =
            AudioBufferList::interleaved(samples.data() + offset * channels, channels);
        dsp.process(list, count);
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const double cpuSeconds = threadSeconds() - startCpu;
    const double audioSeconds = static_cast<double>(frames) / rate;
    std::printf("processed %.1f s of audio in %.3f s (%.3f s of processor time): %.0fx real time "
                "(%.0fx by processor time; checksum %.3f)\n",
                audioSeconds, seconds, cpuSeconds, audioSeconds / seconds,
                audioSeconds / cpuSeconds, static_cast<double>(samples[samples.size() / 2]));
    return 0;
}
