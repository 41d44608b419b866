// An audio stream encoded by FFmpeg into a file together with what the file says about itself:
// the title, artist and album tags, the cover as an attached picture and the chapters, each
// written the way the file's muxer carries it. What the M4A and MP3 encoders share; each of them
// only names its encoder, muxer, bit rates and muxer options. Fed interleaved float frames at
// 48 kHz. Lives on one thread.
#pragma once

#include "audio/ExportMetadata.hpp"
#include "base/Result.hpp"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

struct AVAudioFifo;
struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct AVStream;

namespace tw {

// How one kind of file is made.
struct EncodedFormat {
    std::string codecName; // as messages name it: "AAC", "MP3"
    std::string encoder;   // FFmpeg's encoder
    std::string muxer;     // FFmpeg's output format
    int monoBitRate = 0;
    int stereoBitRate = 0;
    int profile = -99; // FF_PROFILE_UNKNOWN: the encoder's own
    std::vector<std::pair<std::string, std::string>> muxerOptions;
};

class AudioFileEncoder {
public:
    static constexpr int sampleRate = 48000;

    virtual ~AudioFileEncoder();
    AudioFileEncoder(const AudioFileEncoder&) = delete;
    AudioFileEncoder& operator=(const AudioFileEncoder&) = delete;

    // Creates the file and writes its header with the metadata: the tags that are not empty,
    // the cover and the chapters.
    Result<void> open(int channels, const ExportMetadata& metadata = {});
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
    // Encodes the short last packet, drains the encoder and completes the file.
    Result<void> finish();

protected:
    AudioFileEncoder(EncodedFormat format, std::filesystem::path path);

private:
    // "No se pudo codificar el audio en <codec>: <FFmpeg's reason>".
    Error failure(int averror) const;
    Error writeFailure(const char* what, int averror) const;
    void addTags(const ExportMetadata& metadata);
    Result<void> addChapters(const std::vector<ExportChapter>& chapters);
    Result<AVStream*> addCoverStream(const CoverArt& cover);
    Result<void> writeCover(AVStream& stream, const CoverArt& cover);
    Result<void> sendFromFifo(int frames);
    // Sends a frame (nullptr: the end) and writes every packet the encoder has ready.
    Result<void> encode(const AVFrame* frame);

    const EncodedFormat format_;
    const std::filesystem::path path_;
    AVFormatContext* muxer_ = nullptr;
    AVCodecContext* codec_ = nullptr;
    AVStream* stream_ = nullptr;
    AVAudioFifo* fifo_ = nullptr;
    AVFrame* frame_ = nullptr;
    AVPacket* packet_ = nullptr;
    std::vector<float> planes_;
    int packetFrames_ = 1024; // the encoder's frame size, once open
    std::int64_t nextPts_ = 0;
    bool createdFile_ = false;
    std::function<void(const AVPacket&)> observer_;
};

} // namespace tw
