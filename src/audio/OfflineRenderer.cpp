#include "audio/OfflineRenderer.hpp"

#include "audio/Denormals.hpp"
#include "audio/RenderGraph.hpp"

#include <algorithm>
#include <memory>

namespace tw {

Result<void> renderOffline(const Composition& composition, const AudioMix& mix, MediaTime start,
                           MediaTime duration, const OfflineRenderOptions& options,
                           const OfflineSink& sink)
{
    ScopedDenormalsOff denormals;
    const int rate = options.sampleRate;
    const std::vector<TrackPlan> plans = planTracks(composition, rate);
    auto snapshot = MixSnapshot::make(plans, mix, rate);

    std::vector<std::unique_ptr<TrackRenderer>> renderers;
    for (const TrackPlan& plan : plans) {
        renderers.push_back(std::make_unique<TrackRenderer>(plan, rate));
        if (auto opened = renderers.back()->readers().openAll(); !opened)
            return opened.error();
    }

    std::vector<std::shared_ptr<ProcessingTap>> taps;
    if (options.runTaps)
        for (const MixTrack& track : snapshot->tracks)
            if (track.tap && std::find(taps.begin(), taps.end(), track.tap) == taps.end())
                taps.push_back(track.tap);
    for (const auto& tap : taps)
        tap->prepare(graphBlockFrames, graphStreamFormat(rate));
    struct Unprepare {
        std::vector<std::shared_ptr<ProcessingTap>>& taps;
        ~Unprepare()
        {
            for (const auto& tap : taps)
                tap->unprepare();
        }
    } unprepareAtEnd{taps};

    std::vector<MixTrack> tracks = snapshot->tracks;
    std::vector<TrackMixState> states(tracks.size());
    const std::int64_t first = start.frameAt(rate);
    const std::int64_t end = (start + duration).frameAt(rate);
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        if (!options.runTaps)
            tracks[i].tap = nullptr;
        states[i].cursor = VolumeCursor(&tracks[i].curve);
        renderers[i]->seek(first);
    }

    std::optional<TruePeakLimiter> limiter;
    if (options.ceilingDb)
        limiter.emplace(rate, graphChannels, *options.ceilingDb);
    // The master stage holds its output back: render that much further, and drop as much at the
    // start, so the result lines up with the range frame for frame.
    const std::int64_t lag = limiter ? limiter->latency() : 0;
    std::vector<float> audio(graphBlockFrames * graphChannels);
    std::vector<float> out(graphBlockFrames * graphChannels);
    std::vector<float> gains(graphBlockFrames);
    for (std::int64_t at = first; at < end + lag;) {
        const int frames =
            static_cast<int>(std::min<std::int64_t>(graphBlockFrames, end + lag - at));
        std::fill(out.begin(), out.begin() + frames * graphChannels, 0.0f);
        for (std::size_t i = 0; i < tracks.size(); ++i) {
            if (auto rendered = renderers[i]->render(audio.data(), frames); !rendered)
                return rendered.error();
            mixTrackBlock(tracks[i], states[i], audio.data(), out.data(), gains.data(), frames, at);
        }
        if (limiter)
            limiter->process(out.data(), frames);
        // This block's output is the range's frames [at - lag, at - lag + frames).
        const std::int64_t from = std::max(at - lag, first);
        const std::int64_t to = std::min(at - lag + frames, end);
        if (to > from &&
            !sink(out.data() + (from - (at - lag)) * graphChannels, static_cast<int>(to - from)))
            return {};
        at += frames;
    }
    return {};
}

Result<std::vector<float>> renderOfflineToBuffer(const Composition& composition,
                                                 const AudioMix& mix, MediaTime start,
                                                 MediaTime duration,
                                                 const OfflineRenderOptions& options)
{
    std::vector<float> samples;
    const std::int64_t frames =
        (start + duration).frameAt(options.sampleRate) - start.frameAt(options.sampleRate);
    samples.reserve(static_cast<std::size_t>(std::max<std::int64_t>(frames, 0) * graphChannels));
    auto rendered = renderOffline(
        composition, mix, start, duration, options, [&](const float* stereo, int count) {
            samples.insert(samples.end(), stereo, stereo + count * graphChannels);
            return true;
        });
    if (!rendered)
        return rendered.error();
    return samples;
}

} // namespace tw
