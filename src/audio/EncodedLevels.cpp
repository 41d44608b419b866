#include "audio/EncodedLevels.hpp"

#include "audio/M4aEncoder.hpp"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tw {

namespace {

// The stretch the true peak is looked at in, and how close to the ceiling the detector must find
// it for libebur128 to measure it.
constexpr int blockFrames = 4800;
constexpr double candidateDb = -3.0;
// Frames before a stretch given to libebur128 first, so its interpolator starts from the music.
constexpr int contextFrames = 64;
// Packets waiting to be decoded before the encoder waits (seconds of audio at 48 kHz).
constexpr std::size_t maxQueued = 512;

} // namespace

Result<std::unique_ptr<EncodedLevels>>
EncodedLevels::start(const AVCodecContext& encoder, std::int64_t frames, std::int64_t ignored)
{
    const AVCodec* codec = avcodec_find_decoder(encoder.codec_id);
    AVCodecContext* decoder = codec ? avcodec_alloc_context3(codec) : nullptr;
    if (!decoder)
        return encoderError(AVERROR_DECODER_NOT_FOUND);
    decoder->sample_rate = encoder.sample_rate;
    int status = av_channel_layout_copy(&decoder->ch_layout, &encoder.ch_layout);
    if (status >= 0 && encoder.extradata_size > 0) {
        decoder->extradata = static_cast<std::uint8_t*>(av_mallocz(
            static_cast<std::size_t>(encoder.extradata_size) + AV_INPUT_BUFFER_PADDING_SIZE));
        if (!decoder->extradata)
            status = AVERROR(ENOMEM);
        else {
            std::memcpy(decoder->extradata, encoder.extradata,
                        static_cast<std::size_t>(encoder.extradata_size));
            decoder->extradata_size = encoder.extradata_size;
        }
    }
    if (status >= 0)
        status = avcodec_open2(decoder, codec, nullptr);
    if (status < 0) {
        avcodec_free_context(&decoder);
        return encoderError(status);
    }
    return std::unique_ptr<EncodedLevels>(new EncodedLevels(decoder, encoder.ch_layout.nb_channels,
                                                            encoder.initial_padding + ignored,
                                                            frames - ignored));
}

EncodedLevels::EncodedLevels(AVCodecContext* decoder, int channels, std::int64_t skip,
                             std::int64_t frames)
    : decoder_(decoder)
    , frame_(av_frame_alloc())
    , channels_(channels)
    , skip_(skip)
    , left_(frames)
    , loudness_(channels, M4aEncoder::sampleRate, LoudnessMeter::integrated)
    , detector_(channels)
    , peak_(channels, M4aEncoder::sampleRate, LoudnessMeter::truePeak)
    , before_(static_cast<std::size_t>(contextFrames * channels))
{
    thread_ = std::thread([this] { run(); });
}

EncodedLevels::~EncodedLevels()
{
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable())
        thread_.join();
    for (AVPacket* packet : queue_)
        av_packet_free(&packet);
    av_frame_free(&frame_);
    avcodec_free_context(&decoder_);
}

void EncodedLevels::add(const AVPacket& packet)
{
    AVPacket* copy = av_packet_clone(&packet);
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return queue_.size() < maxQueued || stopping_ || failure_; });
    if (copy)
        queue_.push_back(copy);
    else if (!failure_)
        failure_ = encoderError(AVERROR(ENOMEM));
    changed_.notify_all();
}

Result<Levels> EncodedLevels::finish()
{
    {
        std::lock_guard lock(mutex_);
        ended_ = true;
    }
    changed_.notify_all();
    thread_.join();
    if (failure_)
        return *failure_;
    // Nothing came near the ceiling: the loudest stretch is measured after all.
    if (!anyMeasured_ && !loudest_.empty()) {
        peak_.add(loudestBefore_.data(), contextFrames);
        peak_.add(loudest_.data(), loudest_.size() / static_cast<std::size_t>(channels_));
        measuredPeak_ = std::max(measuredPeak_, std::pow(10.0, peak_.lastTruePeakDb() / 20));
    }
    return Levels{loudness_.integratedLoudness(), decibels(measuredPeak_)};
}

void EncodedLevels::run()
{
    for (;;) {
        AVPacket* packet = nullptr;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [&] { return !queue_.empty() || ended_ || stopping_; });
            if (stopping_)
                return;
            if (queue_.empty()) // ended: drain the decoder
                break;
            packet = queue_.front();
            queue_.pop_front();
        }
        changed_.notify_all();
        Result<void> decoded = decode(packet);
        av_packet_free(&packet);
        if (!decoded) {
            std::lock_guard lock(mutex_);
            failure_ = decoded.error();
            changed_.notify_all();
            return;
        }
    }
    if (Result<void> drained = decode(nullptr); !drained) {
        std::lock_guard lock(mutex_);
        failure_ = drained.error();
    }
    if (!interleaved_.empty())
        measureBlock(interleaved_.data(),
                     static_cast<int>(interleaved_.size() / static_cast<std::size_t>(channels_)));
}

Result<void> EncodedLevels::decode(const AVPacket* packet)
{
    int status = avcodec_send_packet(decoder_, packet);
    if (status < 0 && status != AVERROR_EOF)
        return encoderError(status);
    for (;;) {
        status = avcodec_receive_frame(decoder_, frame_);
        if (status == AVERROR(EAGAIN) || status == AVERROR_EOF)
            return {};
        if (status < 0)
            return encoderError(status);
        measure(*frame_);
        av_frame_unref(frame_);
    }
}

// Interleaves the decoded frames of the programme (neither the priming before it nor the
// padding after it) and measures them a stretch at a time.
void EncodedLevels::measure(const AVFrame& frame)
{
    const auto planes = reinterpret_cast<float* const*>(frame.extended_data);
    for (int f = 0; f < frame.nb_samples && left_ > 0; ++f) {
        if (skip_ > 0) {
            --skip_;
            continue;
        }
        for (int c = 0; c < channels_; ++c)
            interleaved_.push_back(planes[c][f]);
        --left_;
        if (interleaved_.size() == static_cast<std::size_t>(blockFrames * channels_)) {
            measureBlock(interleaved_.data(), blockFrames);
            interleaved_.clear();
        }
    }
}

void EncodedLevels::measureBlock(const float* interleaved, int frames)
{
    loudness_.add(interleaved, static_cast<std::size_t>(frames));
    peaks_.resize(static_cast<std::size_t>(frames));
    detector_.process(interleaved, frames, peaks_.data());
    const double own = *std::max_element(peaks_.begin(), peaks_.end());
    const std::size_t samples = static_cast<std::size_t>(frames * channels_);
    if (decibels(own) > candidateDb) {
        if (!previousMeasured_)
            peak_.add(before_.data(), contextFrames);
        peak_.add(interleaved, static_cast<std::size_t>(frames));
        measuredPeak_ = std::max(measuredPeak_, std::pow(10.0, peak_.lastTruePeakDb() / 20));
        anyMeasured_ = previousMeasured_ = true;
    } else {
        if (own > loudestOwn_) {
            loudestOwn_ = own;
            loudest_.assign(interleaved, interleaved + samples);
            loudestBefore_ = before_;
        }
        previousMeasured_ = false;
    }
    const std::size_t context = before_.size();
    if (samples >= context)
        std::copy(interleaved + samples - context, interleaved + samples, before_.begin());
}

} // namespace tw
