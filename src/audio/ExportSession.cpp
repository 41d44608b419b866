#include "audio/ExportSession.hpp"

#include "audio/Denormals.hpp"
#include "audio/M4aEncoder.hpp"
#include "audio/OfflineRenderer.hpp"
#include "audio/TruePeakLimiter.hpp"
#include "base/Uuid.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <span>
#include <vector>

namespace tw {

namespace {

// The encoding reaches this much of the progress; the rest is the encoder's flush and the move
// of the index to the front of the file.
constexpr float encodeShare = 0.99f;
// A normalised export's first render (faster than encoding) takes this much of it.
constexpr float firstPassShare = 0.3f;
constexpr int blockFrames = 4096;
// A corrected encoding aims this far inside the limits, so one correction is enough.
constexpr double correctionMarginDb = 0.1;
constexpr int maxEncodings = 3;
// Excerpts encoded to learn how far the encoder pushes the true peak up.
constexpr std::size_t maxTrials = 4;
constexpr int trialFade = ExportSession::sampleRate / 50;
constexpr std::int64_t trialLead = ExportSession::sampleRate;

// Rendered blocks on their way from a producer thread to the encoder: a fixed ring of
// interleaved buffers, so that rendering and encoding run side by side on two cores.
class BlockQueue {
public:
    struct Block {
        std::vector<float> samples;
        int frames = 0;
    };

    // Producer thread: the next free block, after waiting for one; nullptr once stopped.
    Block* acquire()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return count_ < slots || stopped_; });
        return stopped_ ? nullptr : &blocks_[(head_ + count_) % slots];
    }
    void publish()
    {
        std::lock_guard lock(mutex_);
        ++count_;
        changed_.notify_all();
    }
    // Producer thread: no more blocks will come.
    void end()
    {
        std::lock_guard lock(mutex_);
        ended_ = true;
        changed_.notify_all();
    }
    // Consumer thread: the oldest block, after waiting for one; nullptr at the end.
    Block* front()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return count_ > 0 || ended_ || stopped_; });
        return count_ > 0 && !stopped_ ? &blocks_[head_] : nullptr;
    }
    void release()
    {
        std::lock_guard lock(mutex_);
        head_ = (head_ + 1) % slots;
        --count_;
        changed_.notify_all();
    }
    // Consumer thread: stop the producer (after a failure, a cancel, or at the end).
    void stop()
    {
        std::lock_guard lock(mutex_);
        stopped_ = true;
        changed_.notify_all();
    }

private:
    static constexpr std::size_t slots = 16;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::array<Block, slots> blocks_;
    std::size_t head_ = 0, count_ = 0;
    bool ended_ = false, stopped_ = false;
};

// A file in the system's temporary folder under a name of its own, removed when this goes
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

} // namespace

// What a producer hands its audio to: each push fills the next free block of the queue.
class BlockSink {
public:
    BlockSink(BlockQueue& queue, int channels, const std::atomic<bool>& cancelled)
        : queue_(queue)
        , channels_(channels)
        , cancelled_(cancelled)
    {
    }
    int channels() const { return channels_; }
    // False when the export no longer wants audio (cancelled, failed or done).
    bool push(const float* interleaved, int frames)
    {
        if (cancelled_.load(std::memory_order_relaxed))
            return false;
        BlockQueue::Block* block = queue_.acquire();
        if (!block)
            return false;
        block->samples.assign(interleaved, interleaved + frames * channels_);
        block->frames = frames;
        queue_.publish();
        return true;
    }

private:
    BlockQueue& queue_;
    int channels_;
    const std::atomic<bool>& cancelled_;
};

namespace {

// Runs `produce` on a helper thread and `consume` here for each block it makes.
Result<void> pipeline(int channels, const std::atomic<bool>& cancelled,
                      const std::function<Result<void>(BlockSink&)>& produce,
                      const std::function<Result<void>(const float*, int)>& consume)
{
    BlockQueue queue;
    std::optional<Error> produceFailure;
    std::thread producer([&] {
        ScopedDenormalsOff denormals;
        BlockSink sink(queue, channels, cancelled);
        if (auto produced = produce(sink); !produced)
            produceFailure = produced.error();
        queue.end();
    });
    Result<void> consumed;
    while (BlockQueue::Block* block = queue.front()) {
        if (cancelled.load(std::memory_order_relaxed))
            break;
        consumed = consume(block->samples.data(), block->frames);
        queue.release();
        if (!consumed)
            break;
    }
    queue.stop();
    producer.join();
    if (produceFailure)
        return *produceFailure;
    return consumed;
}

} // namespace

Error exportError(int code)
{
    if (code == ExportError::noSession)
        return Error{ErrorDomain::exporting, code, "No se pudo preparar la exportación."};
    return Error{ErrorDomain::exporting, ExportError::failed,
                 "La exportación no se pudo completar."};
}

Result<std::unique_ptr<ExportSession>> ExportSession::create(Composition composition, AudioMix mix)
{
    if (!aacEncoderAvailable() || composition.duration().ticks <= 0)
        return exportError(ExportError::noSession);
    return std::unique_ptr<ExportSession>(
        new ExportSession(std::move(composition), std::move(mix)));
}

ExportSession::ExportSession(Composition composition, AudioMix mix)
    : composition_(std::move(composition))
    , mix_(std::move(mix))
    , channels_(composition_.allSourcesMono() ? 1 : 2)
    , duration_(composition_.duration())
{
}

ExportSession::~ExportSession()
{
    if (!thread_.joinable())
        return;
    if (thread_.get_id() == std::this_thread::get_id()) {
        thread_.detach(); // destroyed from the completion handler: nothing runs after it
        return;
    }
    cancelExport();
    thread_.join();
}

void ExportSession::setTimeRange(MediaTime start, MediaTime duration)
{
    start_ = start;
    duration_ = duration;
}

void ExportSession::exportAsynchronously(std::function<void()> completion)
{
    Status expected = Status::waiting;
    if (!status_.compare_exchange_strong(expected, Status::exporting))
        return;
    thread_ = std::thread([this, completion = std::move(completion)] { run(completion); });
}

void ExportSession::cancelExport()
{
    cancelled_.store(true, std::memory_order_relaxed);
}

std::optional<Error> ExportSession::error() const
{
    std::lock_guard lock(errorMutex_);
    return error_;
}

std::optional<Levels> ExportSession::levels() const
{
    std::lock_guard lock(errorMutex_);
    return levels_;
}

void ExportSession::finish(Status status, std::optional<Error> error)
{
    {
        std::lock_guard lock(errorMutex_);
        error_ = std::move(error);
    }
    if (status == Status::completed)
        progress_.store(1, std::memory_order_relaxed);
    status_.store(status, std::memory_order_release);
}

// Export thread.
void ExportSession::run(const std::function<void()>& completion)
{
    const auto done = [&](Status status, std::optional<Error> error = std::nullopt) {
        finish(status, std::move(error));
        if (completion)
            completion();
    };
    if (cancelled_.load(std::memory_order_relaxed))
        return done(Status::cancelled);

    // The range as the composition can play it.
    const MediaTime end = std::min(start_ + duration_, composition_.duration());
    const MediaTime start = std::clamp(start_, MediaTime{}, end);
    if ((end - start).frameAt(sampleRate) <= 0)
        return done(Status::failed, Error{ErrorDomain::exporting, ExportError::failed,
                                          "No hay audio que exportar en el intervalo elegido."});
    if (outputPath_.empty())
        return done(Status::failed, Error{ErrorDomain::exporting, ExportError::failed,
                                          "No se indicó dónde guardar la exportación."});

    end_ = end;
    start_ = start;
    auto encoded = target_ ? encodeNormalised(*target_)
                           : encode(
                                 [this](BlockSink& sink) {
                                     return renderMix(sink, TruePeakLimiter::defaultCeilingDb);
                                 },
                                 outputPath_, (end_ - start_).frameAt(sampleRate), 0, encodeShare);
    std::optional<Error> failure;
    if (!encoded)
        failure = encoded.error();
    const bool cancelled = encoded && !encoded.value();
    if ((failure || cancelled) && createdFile_) {
        std::error_code ignored;
        std::filesystem::remove(outputPath_, ignored);
    }
    if (encoded && encoded.value()) {
        std::lock_guard lock(errorMutex_);
        levels_ = encoded.value();
    }
    if (failure)
        return done(Status::failed, std::move(failure));
    done(cancelled ? Status::cancelled : Status::completed);
}

// Helper thread: the range of the mix in the export's channels, through the master stage at
// the ceiling (or as the plain sum without one).
Result<void> ExportSession::renderMix(BlockSink& sink, std::optional<double> ceilingDb) const
{
    OfflineRenderOptions options;
    options.sampleRate = sampleRate;
    options.runTaps = false;
    options.ceilingDb = ceilingDb;
    std::vector<float> converted;
    return renderOffline(composition_, mix_, start_, end_ - start_, options,
                         [&](const float* stereo, int frames) {
                             if (sink.channels() == 2)
                                 return sink.push(stereo, frames);
                             // A mono source feeds both sides alike: the left is the mix.
                             converted.resize(static_cast<std::size_t>(frames));
                             for (int f = 0; f < frames; ++f)
                                 converted[static_cast<std::size_t>(f)] = stereo[2 * f];
                             return sink.push(converted.data(), frames);
                         });
}

Result<std::optional<Levels>> ExportSession::encode(const Producer& produce,
                                                    const std::filesystem::path& path,
                                                    std::int64_t frames, float from, float to,
                                                    std::int64_t measuredFrom,
                                                    LoudnessMeter* source)
{
    M4aEncoder encoder(path);
    auto opened = encoder.open(channels_, channels_ == 1 ? monoBitRate : stereoBitRate, title_);
    createdFile_ = createdFile_ || (encoder.createdFile() && path == outputPath_);
    if (!opened)
        return opened.error();
    auto levels = EncodedLevels::start(encoder.codec(), frames, measuredFrom);
    if (!levels)
        return levels.error();
    EncodedLevels& measured = *levels.value();
    encoder.setPacketObserver([&](const AVPacket& packet) { measured.add(packet); });
    std::int64_t encoded = 0;
    auto written = pipeline(channels_, cancelled_, produce, [&](const float* samples, int count) {
        auto sent = encoder.write(samples, count);
        if (const std::int64_t skip = std::clamp<std::int64_t>(measuredFrom - encoded, 0, count);
            source && skip < count)
            source->add(samples + skip * channels_, static_cast<std::size_t>(count - skip));
        encoded += count;
        const float share =
            from + (to - from) * static_cast<float>(encoded) / static_cast<float>(frames);
        progress_.store(std::max(progress_.load(std::memory_order_relaxed), share),
                        std::memory_order_relaxed);
        return sent;
    });
    if (!written)
        return written.error();
    // From here on a cancel is too late: all that is left is the encoder's flush.
    if (cancelled_.load(std::memory_order_relaxed))
        return std::optional<Levels>();
    if (auto finished = encoder.finish(); !finished)
        return finished.error();
    auto result = measured.finish();
    if (!result)
        return result.error();
    return std::optional<Levels>(result.value());
}

namespace {

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
    auto first = pipeline(
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
    // One stretch per half minute, eight at most: a short programme is cheaper to encode again.
    const auto stretches =
        static_cast<std::int64_t>(std::min<std::int64_t>(2 * maxTrials, total / (30 * sampleRate)));
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
        if (over <= 0 && std::fabs(off) <= loudnessTolerance)
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
