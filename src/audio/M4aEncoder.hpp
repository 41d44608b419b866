// One AAC-LC stream in an .m4a file (FFmpeg's AAC encoder and its ipod muxer), fed interleaved
// float frames at 48 kHz: the last step of an export. Lives on one thread.
#pragma once

#include "base/Result.hpp"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

struct AVAudioFifo;
struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct AVStream;

namespace tw {

// Whether this FFmpeg has the AAC encoder.
bool aacEncoderAvailable();
// The "Export" error of an encoder failure, with FFmpeg's own text.
Error encoderError(int averror);

class M4aEncoder {
public:
    static constexpr int sampleRate = 48000;

    explicit M4aEncoder(std::filesystem::path path) : path_(std::move(path)) {}
    ~M4aEncoder();
    M4aEncoder(const M4aEncoder&) = delete;
    M4aEncoder& operator=(const M4aEncoder&) = delete;

    // Creates the file and writes its header. The movie timescale is the sample rate, so the
    // edit list skips the encoder's priming frames exactly.
    Result<void> open(int channels, int bitRate, const std::string& title);
    // Whether the output file was created (and so is this encoder's to remove on failure).
    bool createdFile() const { return createdFile_; }
    // The open encoder (its format, priming and extradata), for a decoder of its packets.
    const AVCodecContext& codec() const { return *codec_; }
    // Called with every packet the encoder makes, in order, before it is written.
    void setPacketObserver(std::function<void(const AVPacket&)> observer)
    {
        observer_ = std::move(observer);
    }

    // Queues frames and encodes every whole packet's worth.
    Result<void> write(const float* interleaved, int frames);
    // Encodes the short last packet, drains the encoder and writes the index at the front.
    Result<void> finish();

private:
    Result<void> sendFromFifo(int frames);
    // Sends a frame (nullptr: the end) and writes every packet the encoder has ready.
    Result<void> encode(const AVFrame* frame);

    std::filesystem::path path_;
    AVFormatContext* format_ = nullptr;
    AVCodecContext* codec_ = nullptr;
    AVStream* stream_ = nullptr;
    AVAudioFifo* fifo_ = nullptr;
    AVFrame* frame_ = nullptr;
    AVPacket* packet_ = nullptr;
    std::vector<float> planes_;
    std::int64_t nextPts_ = 0;
    bool createdFile_ = false;
    std::function<void(const AVPacket&)> observer_;
};

} // namespace tw
