// Plays a composition with its audio mix through an audio output: play, pause, sample-exact
// seeks, an audio mix swapped in without a gap, and a periodic time observer on the main thread.
//
// Threads: every operation is for the main thread, except render(), which the audio output
// calls on its render thread. A read-ahead thread owned by the player decodes and resamples the
// sources into lock-free rings; render() only copies from them, runs the taps, applies the
// volumes and the master stage (a true-peak limiter at -1 dBTP), and never locks, allocates,
// logs or waits. Parameters reach it as immutable snapshots through an atomic pointer; replaced
// snapshots are freed on the read-ahead thread.
#pragma once

#include "audio/AudioMix.hpp"
#include "audio/AudioOutput.hpp"
#include "audio/Composition.hpp"
#include "audio/MediaTime.hpp"
#include "audio/RenderGraph.hpp"
#include "audio/RenderGraphReadAhead.hpp"
#include "audio/SpscRing.hpp"
#include "audio/TruePeakLimiter.hpp"
#include "base/Result.hpp"
#include "base/Scheduler.hpp"

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace tw {

struct PlayerOptions {
    // The output's rate; the output is interleaved stereo.
    int sampleRate = 48000;
    // Main thread: seconds between a frame leaving render() and being heard. An output's own
    // latency() when the player plays through one and this is not set.
    std::function<double()> outputLatency;
    // Any thread: runs a job on the main thread soon. With it a seek completes as soon as
    // its audio is ready; without it the player looks every few milliseconds through the
    // scheduler.
    std::function<void(std::function<void()>)> postToMain;
    // How far the read-ahead runs ahead of the play head.
    double readAheadSeconds = 2.0;
    // Read-ahead thread: false holds decoding back (a test seam for slow sources).
    std::function<bool()> readAheadGate;
};

class Player {
public:
    using Options = PlayerOptions;

    // Tracks beyond this many are not played (a mix has two).
    static constexpr std::size_t maxTracks = 8;

    // A player whose render() the owner calls (tests, benchmarks, a custom sink). The caller
    // must stop calling render() before the player goes.
    explicit Player(Scheduler& scheduler);
    Player(Scheduler& scheduler, Options options);
    // A player that plays through `output`: it installs its render function, opens the output
    // in float32 stereo at options.sampleRate (the player then runs at the rate the output
    // grants), starts it on play(), pauses it once it has played out after pause(), flushes it
    // on seek() and closes it when the player goes. Fails with the output's error.
    static Result<std::unique_ptr<Player>> open(AudioOutput& output, Scheduler& scheduler,
                                                Options options = {});
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    int sampleRate() const { return options_.sampleRate; }

    // Replaces what is played, positioned at 0 and paused or playing as before. Opens every
    // source file and prepares the mix's taps before anything changes; a file that cannot be
    // opened fails with its reader's error and leaves the current item as it was. Blocking for
    // as long as the files take to open.
    Result<void> setItem(const Composition& composition, const AudioMix& mix);
    // Swaps in a new mix without a gap: a tap already prepared keeps running with its state, a
    // new one is prepared here first; a volume that changes glides over a few milliseconds.
    void setAudioMix(const AudioMix& mix);

    void play();
    // Stops rendering at once; the output plays out what it holds (the audio up to the stop
    // frame, about its latency) and is then paused, so play() resumes at exactly the next frame.
    // Waits, at most for the length of one render call, for a call under way to finish.
    void pause();
    // 1 while playing, 0 while paused.
    float rate() const { return playing_.load(std::memory_order_relaxed) ? 1.0f : 0.0f; }
    // The time of the sound being heard now; paused, the frame where the sound stops (what the
    // output holds still plays up to it).
    MediaTime currentTime() const;
    // Moves to the frame of `time` exactly. completion(true) runs on the main thread once the
    // audio there is ready to play; a seek overtaken by a newer one completes with false.
    void seek(MediaTime time, std::function<void(bool finished)> completion = {});

    // Calls observer with the current time every interval seconds on the main thread, through
    // the scheduler, until removed.
    TaskHandle addPeriodicTimeObserver(double interval, std::function<void(MediaTime)> observer);
    void removeTimeObserver(const TaskHandle& observer);

    // Render calls that found a track's audio not ready while playing, after the audio at the
    // last seek had been ready (heard as silence; the play head waits).
    std::int64_t underruns() const { return underruns_.load(std::memory_order_relaxed); }
    const AudioMix& currentAudioMix() const { return mix_; }
    // nullptr before the first item.
    const Composition* currentComposition() const
    {
        return composition_ ? &*composition_ : nullptr;
    }
    // A source that failed to open or decode, or an output that failed to start, since the last
    // call (a failing source plays as silence).
    std::optional<Error> takeError();
    // Blocks until the audio at the latest seek is ready (or the item's start). Not on the
    // render thread. For tests and benchmarks that drive render() themselves.
    void waitForReadAhead();
    // Any one thread but the render thread (the loudness meter's): up to maxFrames interleaved
    // stereo frames of what render() has played since the last call, oldest first. A reader
    // that falls more than a second behind misses what did not fit.
    int takePlayed(float* interleaved, int maxFrames);

    // Render thread: writes frames interleaved stereo frames of the mix (silence while paused).
    void render(float* interleaved, int frames);

private:
    // What render() reads: the run to play and the mix to play it with.
    struct RenderState {
        std::shared_ptr<PlaybackRun> run;
        std::shared_ptr<const MixSnapshot> mix;
        std::uint64_t mixSerial = 0;
    };
    struct PreparedTap {
        std::weak_ptr<ProcessingTap> tap;
        StreamFormat format;
    };
    struct PendingSeek {
        std::uint64_t generation = 0;
        std::function<void(bool)> completion;
    };

    void prepareTaps(const AudioMix& mix);
    void startRun(std::int64_t frame, std::shared_ptr<const MixSnapshot> mix);
    void publish(std::shared_ptr<const MixSnapshot> mix, std::shared_ptr<PlaybackRun> run);
    void freeRetired(); // any thread but the render thread
    void onRunReady(std::uint64_t generation);
    void completeSeekIfReady();
    std::int64_t playedFrame() const;
    std::int64_t latencyFrames() const;

    // Render thread.
    const RenderState* acquireState();
    void releaseState();
    void adoptState(const RenderState& state);

    Scheduler& scheduler_;
    Options options_;
    AudioOutput* output_ = nullptr;
    std::optional<Error> outputError_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);

    // Main thread.
    std::optional<Composition> composition_;
    AudioMix mix_;
    std::vector<TrackPlan> plans_;
    std::shared_ptr<TrackRenderers> renderers_;
    std::shared_ptr<RenderState> state_;
    std::uint64_t generation_ = 0;
    std::uint64_t mixSerial_ = 0;
    std::vector<PreparedTap> preparedTaps_;
    std::optional<PendingSeek> pendingSeek_;
    TaskHandle seekPoll_;
    TaskHandle drainTask_;       // pauses the output once it has played out, after a pause
    bool outputDrained_ = false; // the output was paused after playing out
    std::vector<TaskHandle> observers_;
    std::int64_t heardFloor_ = 0; // nothing before this frame is heard yet (play start, seek)

    // Shared between threads.
    std::atomic<bool> playing_{false};
    std::atomic<bool> holding_{false}; // a seek is dropping what the output holds: stay silent
    std::atomic<std::int64_t> underruns_{0};
    std::atomic<RenderState*> published_{nullptr};
    std::atomic<const RenderState*> inUse_{nullptr}; // what render() is reading now
    std::atomic<std::uint64_t> renderCalls_{0};      // render calls that produced audio
    std::mutex retiredMutex_;                        // main and read-ahead; never render()
    std::vector<std::shared_ptr<RenderState>> retired_;

    // Render thread only.
    std::uint64_t renderGeneration_ = 0;
    std::uint64_t renderMixSerial_ = 0;
    std::array<TrackMixState, maxTracks> trackStates_{};
    std::vector<float> trackAudio_;
    std::vector<float> gains_;
    TruePeakLimiter limiter_; // the master stage
    SpscRing played_;         // what render() played, for the loudness meter
    std::vector<float> primeBuffer_;
    int primeLeft_ = 0; // frames to feed the master stage before a run's first frame comes out

    ReadAhead readAhead_; // last: its thread stops first when the player goes
};

} // namespace tw
