// A normalised export: the mix is rendered once to a temporary float file while libebur128
// measures it, then given the one gain that brings it to the target, limited and encoded. The
// encoder adds to the true peak and takes a little loudness away: excerpts encoded first tell by
// how much, and the whole is encoded again, corrected, should it still miss.
#include "audio/EncodedLevels.hpp"
#include "audio/ExportPipeline.hpp"
#include "audio/ExportSession.hpp"
#include "audio/LoudnessMeter.hpp"
#include "audio/TruePeakLimiter.hpp"
#include "base/Uuid.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <span>
#include <vector>

namespace tw {

namespace {

constexpr int blockFrames = 4096;
// A corrected encoding aims this far inside the limits, so one correction is enough.
constexpr double correctionMarginDb = 0.1;
constexpr int maxEncodings = 3;
// Excerpts encoded to learn how far the encoder pushes the true peak up, and stretches (one per
// half minute) to learn how much loudness it takes away: what it leaves out above its bandwidth
// varies with the material, so a long programme is sampled in many places.
constexpr std::size_t maxTrials = 4;
constexpr std::int64_t maxStretches = 16;
constexpr int trialFade = ExportSession::sampleRate / 50;
constexpr std::int64_t trialLead = ExportSession::sampleRate;

// (whatever happened).
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& extension)
        : path_(std::filesystem::temp_directory_path() /
                ("tapewright-" + Uuid::random().text() + extension))
    {
    }
    ~TemporaryFile()
    {
        close();
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::filesystem::path& path() const { return path_; }

    Result<void> open(const char* mode)
    {
        close();
        file_ = std::fopen(path_.c_str(), mode);
        if (!file_)
            return Error{ErrorDomain::exporting, ExportError::failed,
                         "No se pudo crear un archivo temporal para la exportación."};
        return {};
    }
    void close()
    {
        if (file_)
            std::fclose(file_);
        file_ = nullptr;
    }
    std::FILE* file() const { return file_; }

private:
    std::filesystem::path path_;
    std::FILE* file_ = nullptr;
};

// Helper thread: frames [from, from + frames) of the temporary render, with the gain and
// through a limiter at the ceiling, frame-exact: as much silence after the end as the limiter
// holds back, and as much dropped at the start. With `fade`, an excerpt: faded in and out over
// that many frames, so that its edges add nothing of their own.
Result<void> produceLimited(std::FILE* file, int channels, std::int64_t from, std::int64_t frames,
                            float gain, double ceilingDb, BlockSink& sink, int fade = 0)
{
    const long offset = static_cast<long>(from * channels * static_cast<long>(sizeof(float)));
    if (std::fseek(file, offset, SEEK_SET) != 0)
        return Error{ErrorDomain::exporting, ExportError::failed,
                     "No se pudo leer el archivo temporal de la exportación."};
    TruePeakLimiter limiter(ExportSession::sampleRate, channels, ceilingDb);
    std::vector<float> block(static_cast<std::size_t>(blockFrames * channels));
    std::int64_t left = frames, skip = limiter.latency(), tail = limiter.latency(), pushed = 0;
    while (left > 0 || tail > 0) {
        int count = 0;
        if (left > 0) {
            const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(left, blockFrames));
            const std::size_t got = std::fread(
                block.data(), sizeof(float) * static_cast<std::size_t>(channels), wanted, file);
            if (got == 0)
                return Error{ErrorDomain::exporting, ExportError::failed,
                             "No se pudo leer el archivo temporal de la exportación."};
            count = static_cast<int>(got);
            left -= count;
            for (float& x : std::span(block.data(), static_cast<std::size_t>(count * channels)))
                x *= gain;
        } else {
            count = static_cast<int>(std::min<std::int64_t>(tail, blockFrames));
            std::fill_n(block.begin(), count * channels, 0.0f);
            tail -= count;
        }
        limiter.process(block.data(), count);
        const int dropped = static_cast<int>(std::min<std::int64_t>(skip, count));
        skip -= dropped;
        float* out = block.data() + dropped * channels;
        for (int f = 0; fade > 0 && f < count - dropped; ++f) {
            const std::int64_t at = pushed + f;
            const double edge = std::min<double>(
                {1.0, static_cast<double>(at) / fade, static_cast<double>(frames - 1 - at) / fade});
            for (int c = 0; c < channels; ++c)
                out[f * channels + c] *= static_cast<float>(std::max(edge, 0.0));
        }
        pushed += count - dropped;
        if (count > dropped && !sink.push(out, count - dropped))
            return {};
    }
    return {};
}

} // namespace

Result<std::optional<Levels>> ExportSession::encodeNormalised(double target)
{
    // The plain sum, measured as it is written to the temporary file, with the peak of each
    // block kept to find where the limiter will work hardest.
    TemporaryFile render(".f32");
    if (auto opened = render.open("w+b"); !opened)
        return opened.error();
    const std::int64_t total = (end_ - start_).frameAt(sampleRate);
    LoudnessMeter meter(channels_, sampleRate, LoudnessMeter::integrated);
    std::vector<std::pair<float, std::int64_t>> blockPeaks; // (peak, first frame)
    std::int64_t rendered = 0;
    auto first = runPipeline(
        channels_, cancelled_, [this](BlockSink& sink) { return renderMix(sink, std::nullopt); },
        [&](const float* samples, int frames) -> Result<void> {
            meter.add(samples, static_cast<std::size_t>(frames));
            const auto count = static_cast<std::size_t>(frames * channels_);
            if (std::fwrite(samples, sizeof(float), count, render.file()) != count)
                return Error{ErrorDomain::exporting, ExportError::failed,
                             "No se pudo escribir el archivo temporal de la exportación."};
            float peak = 0;
            for (float x : std::span(samples, count))
                peak = std::max(peak, std::fabs(x));
            blockPeaks.emplace_back(peak, rendered);
            rendered += frames;
            progress_.store(firstPassShare * static_cast<float>(rendered) /
                                static_cast<float>(total),
                            std::memory_order_relaxed);
            return {};
        });
    if (!first)
        return first.error();
    if (cancelled_.load(std::memory_order_relaxed))
        return std::optional<Levels>();
    if (std::fflush(render.file()) != 0)
        return Error{ErrorDomain::exporting, ExportError::failed,
                     "No se pudo escribir el archivo temporal de la exportación."};

    const double measured = meter.integratedLoudness();
    double gainDb = std::isfinite(measured) ? target - measured : 0.0;
    double ceilingDb = TruePeakLimiter::defaultCeilingDb;

    // The encoder adds to the true peak where the limiter holds the sound at the ceiling, and
    // takes loudness away (what it leaves out above its bandwidth). Excerpts encoded on their
    // own tell by how much, so the whole is usually right the first time: a few seconds around
    // each of the loudest peaks, and stretches spread over the whole programme.
    std::sort(blockPeaks.begin(), blockPeaks.end(), std::greater<>());
    std::vector<std::pair<std::int64_t, std::int64_t>> peakExcerpts, spread; // (at, frames)
    for (const auto& [peak, frame] : blockPeaks) {
        if (peakExcerpts.size() == maxTrials)
            break;
        if (std::none_of(peakExcerpts.begin(), peakExcerpts.end(), [&](const auto& other) {
                return std::llabs(other.first - frame) < 2 * sampleRate;
            }))
            peakExcerpts.emplace_back(frame, sampleRate / 2);
    }
    const std::int64_t stretches = std::min(maxStretches, total / (30 * sampleRate));
    for (std::int64_t i = 0; i < stretches; ++i)
        spread.emplace_back(total * (2 * i + 1) / (2 * stretches), 3 * sampleRate);
    const float gain = static_cast<float>(std::pow(10.0, gainDb / 20));
    double worst = -std::numeric_limits<double>::infinity(), heard = 0, given = 0;
    for (const auto* excerpts : {&peakExcerpts, &spread})
        for (const auto& [at, length] : *excerpts) {
            // A second before it lets the encoder settle; only what follows counts.
            const std::int64_t from = std::max<std::int64_t>(0, at - trialLead);
            const std::int64_t frames = std::min<std::int64_t>(total - from, at - from + length);
            if (frames <= at - from)
                continue;
            TemporaryFile excerpt(".m4a");
            LoudnessMeter input(channels_, sampleRate, LoudnessMeter::integrated);
            auto trial = encode(
                [&](BlockSink& sink) {
                    return produceLimited(render.file(), channels_, from, frames, gain, ceilingDb,
                                          sink, trialFade);
                },
                excerpt.path(), frames, 0, 0, at - from, &input);
            if (!trial || !trial.value())
                return trial;
            if (excerpts == &peakExcerpts)
                worst = std::max(worst, trial.value()->truePeak);
            else if (std::isfinite(trial.value()->loudness) &&
                     std::isfinite(input.integratedLoudness())) {
                heard += std::pow(10.0, trial.value()->loudness / 10);
                given += std::pow(10.0, input.integratedLoudness() / 10);
            }
        }
    if (worst > peakLimitDb - correctionMarginDb)
        ceilingDb -= worst - (peakLimitDb - correctionMarginDb);
    const double loudnessChange = given > 0 && heard > 0 ? 10 * std::log10(heard / given) : 0.0;
    gainDb -= loudnessChange;

    std::optional<Levels> levels;
    for (int attempt = 0; attempt < maxEncodings; ++attempt) {
        const float g = static_cast<float>(std::pow(10.0, gainDb / 20));
        auto encoded = encode(
            [&, g, ceilingDb](BlockSink& sink) {
                return produceLimited(render.file(), channels_, 0, total, g, ceilingDb, sink);
            },
            outputPath_, total, firstPassShare, encodeShare);
        if (!encoded || !encoded.value())
            return encoded;
        levels = encoded.value();
        const double over = levels->truePeak - peakLimitDb;
        const double off = target - levels->loudness;
        // Accepted only well inside the tolerance: a listener's meter may read a little
        // differently, and a file at the very edge of it is then outside.
        if (over <= 0 && std::fabs(off) <= loudnessTolerance - correctionMarginDb)
            break;
        // The encoder still went over the ceiling, or the limiter took the loudness off the
        // target: lower the ceiling by as much, adjust the gain by the difference, and again.
        if (over > 0)
            ceilingDb -= over + correctionMarginDb;
        if (std::isfinite(off) && std::fabs(off) > loudnessTolerance - correctionMarginDb)
            gainDb += off;
    }
    return levels;
}

} // namespace tw
