// The player's read-ahead thread (in the manner of Ardour's butler): it decodes and resamples each
// track of the current run into that run's rings, well ahead of the play head, so that the
// render callback only ever copies. It may block, allocate and read files; the render callback
// never waits for it.
#pragma once

#include "audio/RenderGraphRun.hpp"
#include "audio/RenderGraphTrack.hpp"
#include "base/Error.hpp"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace tw {

// The track renderers of one item, used by the read-ahead thread alone once handed over.
using TrackRenderers = std::vector<std::unique_ptr<TrackRenderer>>;

class ReadAhead {
public:
    struct Options {
        // Frames every ring must hold before a run counts as ready to start.
        std::int64_t readyFrames = 8192;
        // Read-ahead thread: called when the run being filled becomes ready.
        std::function<void(std::uint64_t generation)> onReady;
        // Read-ahead thread, every pass: the owner's housekeeping (freeing retired snapshots).
        std::function<void()> housekeeping;
        // Read-ahead thread, before each block it decodes: false holds decoding back. A test
        // seam for a source that decodes too slowly.
        std::function<bool()> gate;
    };

    explicit ReadAhead(Options options);
    // Stops and joins the thread.
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    // Any thread: from now on fill `run` from `renderers`. A new run replaces the old one at the
    // next block boundary.
    void fill(std::shared_ptr<TrackRenderers> renderers, std::shared_ptr<PlaybackRun> run);
    // Any thread: wake the thread for another pass now (new garbage, gate opened).
    void wake();
    // Blocks the caller until every ring of `run` is full, or a newer run replaced it. Never
    // from the render thread; for tests and benchmarks that drive the render callback.
    void waitUntilFull(const PlaybackRun& run);
    // The first failure to open or decode a source since the last call, if any.
    std::optional<Error> takeError();

private:
    void run();
    // One pass over the tracks; false when there was nothing to do.
    bool fillPass(TrackRenderers& renderers, PlaybackRun& run, bool& announced);
    bool superseded(const PlaybackRun& run);

    Options options_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable filled_; // after every pass that wrote something
    std::shared_ptr<TrackRenderers> renderers_;
    std::shared_ptr<PlaybackRun> run_;
    std::atomic<std::uint64_t> latest_{0}; // generation of the newest run handed over
    std::optional<Error> error_;
    bool pendingWake_ = false;
    bool stopping_ = false;
    std::vector<float> block_;
    std::thread thread_;
};

} // namespace tw
