// What a listener of an exported file will hear, measured as the file is written: the packets
// of the AAC encoder are decoded on a thread of their own (the encoder's priming and final
// padding left out) and measured with libebur128: the integrated loudness of the whole, and its
// true peak, which the encoder can push above what it was given.
#pragma once

#include "audio/LoudnessMeter.hpp"
#include "audio/TruePeakDetector.hpp"
#include "base/Result.hpp"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace tw {

struct Levels {
    double loudness = 0; // LUFS, integrated
    double truePeak = 0; // dBTP
};

class EncodedLevels {
public:
    // For the packets `encoder` makes of a programme of `frames` frames, the first `ignored` of
    // which are decoded but not measured (an encoder warming up). Fails when this FFmpeg cannot
    // decode them.
    static Result<std::unique_ptr<EncodedLevels>>
    start(const AVCodecContext& encoder, std::int64_t frames, std::int64_t ignored = 0);
    // Stops the thread (the levels are then lost).
    ~EncodedLevels();
    EncodedLevels(const EncodedLevels&) = delete;
    EncodedLevels& operator=(const EncodedLevels&) = delete;

    // The encoder's thread: a copy of the packet joins the queue (waiting while it is long).
    void add(const AVPacket& packet);
    // After the last packet: waits for the decoding to end and gives the levels.
    Result<Levels> finish();

private:
    EncodedLevels(AVCodecContext* decoder, int channels, std::int64_t skip, std::int64_t frames);
    void run();
    Result<void> decode(const AVPacket* packet);
    void measure(const AVFrame& frame);
    void measureBlock(const float* interleaved, int frames);

    AVCodecContext* decoder_;
    AVFrame* frame_;
    const int channels_;
    std::int64_t skip_; // priming frames still to drop
    std::int64_t left_; // programme frames still to measure
    LoudnessMeter loudness_;
    // The true peak is libebur128's, over the stretches the detector finds within a few dB of
    // the ceiling (measuring all of it would cost as much as encoding): the rest cannot matter.
    TruePeakDetector detector_;
    LoudnessMeter peak_;
    std::vector<float> interleaved_, peaks_, before_, loudest_, loudestBefore_;
    double loudestOwn_ = 0, measuredPeak_ = 0;
    bool previousMeasured_ = false, anyMeasured_ = false;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<AVPacket*> queue_;
    bool ended_ = false, stopping_ = false;
    std::optional<Error> failure_;
    std::thread thread_;
};

} // namespace tw
