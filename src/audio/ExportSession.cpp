#include "audio/ExportSession.hpp"

#include "audio/ExportPipeline.hpp"
#include "audio/M4aEncoder.hpp"
#include "audio/Mp3Encoder.hpp"
#include "audio/OfflineRenderer.hpp"
#include "audio/TruePeakLimiter.hpp"

#include <algorithm>
#include <vector>

namespace tw {

Error exportError(int code)
{
    if (code == ExportError::noSession)
        return Error{ErrorDomain::exporting, code, "No se pudo preparar la exportación."};
    return Error{ErrorDomain::exporting, ExportError::failed,
                 "La exportación no se pudo completar."};
}

Result<std::unique_ptr<ExportSession>> ExportSession::create(Composition composition, AudioMix mix,
                                                             ExportFormat format)
{
    const bool encoder =
        format == ExportFormat::mp3 ? mp3EncoderAvailable() : aacEncoderAvailable();
    if (!encoder || composition.duration().ticks <= 0)
        return exportError(ExportError::noSession);
    return std::unique_ptr<ExportSession>(
        new ExportSession(std::move(composition), std::move(mix), format));
}

ExportSession::ExportSession(Composition composition, AudioMix mix, ExportFormat format)
    : composition_(std::move(composition))
    , mix_(std::move(mix))
    , channels_(composition_.allSourcesMono() ? 1 : 2)
    , format_(format)
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
    std::unique_ptr<AudioFileEncoder> made;
    if (format_ == ExportFormat::mp3)
        made = std::make_unique<Mp3Encoder>(path);
    else
        made = std::make_unique<M4aEncoder>(path);
    AudioFileEncoder& encoder = *made;
    const bool final = path == outputPath_;
    auto opened = encoder.open(channels_, final ? metadata_ : ExportMetadata{});
    createdFile_ = createdFile_ || (encoder.createdFile() && final);
    if (!opened)
        return opened.error();
    auto levels = EncodedLevels::start(encoder.codec(), frames, measuredFrom);
    if (!levels)
        return levels.error();
    EncodedLevels& measured = *levels.value();
    encoder.setPacketObserver([&](const AVPacket& packet) { measured.add(packet); });
    std::int64_t encoded = 0;
    auto written =
        runPipeline(channels_, cancelled_, produce, [&](const float* samples, int count) {
            auto sent = encoder.write(samples, count);
            if (const std::int64_t skip =
                    std::clamp<std::int64_t>(measuredFrom - encoded, 0, count);
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

} // namespace tw
