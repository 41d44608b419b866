// AudioFileReader on libavformat/libavcodec: any format FFmpeg decodes. Seeks land on the exact
// frame by seeking a little early, flushing the decoder and discarding up to the target.
#pragma once

#include "audio/AudioFileReader.hpp"

#include <optional>

struct AVFormatContext;
struct AVIOContext;
struct AVCodecContext;
struct AVPacket;
struct AVFrame;

namespace tw {

class FfmpegAudioFileReader final : public AudioFileReader {
public:
    static Result<std::unique_ptr<FfmpegAudioFileReader>> open(const std::filesystem::path& path);
    ~FfmpegAudioFileReader() override;
    FfmpegAudioFileReader(const FfmpegAudioFileReader&) = delete;
    FfmpegAudioFileReader& operator=(const FfmpegAudioFileReader&) = delete;

    double sampleRate() const override { return rate_; }
    int channels() const override { return channels_; }
    // Uncompressed audio in CAF/WAV/AIFF/W64 takes its length from the container; anything
    // else is decoded to the end on a second decoder the first time the length is asked for
    // (reading to the end learns it too, so a full read never decodes twice).
    std::int64_t length() const override;
    std::int64_t position() const override { return position_; }
    Result<int> read(float* interleaved, int frames) override;
    Result<void> seek(std::int64_t frame) override;

private:
    FfmpegAudioFileReader() = default;
    enum class Step { frame, end };
    // (Re)opens the demuxer on fd_ from the file's start.
    Result<void> openInput();
    void discardOtherStreams();
    // (Re)creates codec_ for the stream, with no state from earlier packets.
    Result<void> openDecoder();
    // Makes frame_ the next decoded frame with at least one sample.
    Result<Step> decodeNext();
    // Decodes on from the current position, discarding, until position_ == target or the end.
    Result<void> skipTo(std::int64_t target);
    // The decoder has nothing more: the length becomes what it really delivered.
    void reachedEnd();
    std::int64_t countFramesToEnd();
    // Seeking at or past the end: reads deliver nothing until the next seek.
    Result<void> moveToEnd();
    void copyOut(float* out, int offset, int frames) const;

    std::filesystem::path path_;
    // The file is opened by the reader itself (see ReadableFile) and read through io_, so FFmpeg
    // never opens a name that could block.
    int fd_ = -1;
    AVIOContext* io_ = nullptr;
    AVFormatContext* format_ = nullptr;
    AVCodecContext* codec_ = nullptr;
    AVPacket* packet_ = nullptr;
    AVFrame* frame_ = nullptr;
    int stream_ = -1;
    double rate_ = 0;
    int channels_ = 0;
    std::int64_t startTimestamp_ = 0; // stream time base
    std::int64_t preroll_ = 0;        // samples a seek decodes and discards before its target
    bool freshInputPerSeek_ = false;
    bool inputEnded_ = false;
    bool atEnd_ = false;
    std::int64_t frameStart_ = 0; // file position of frame_'s first sample
    int frameOffset_ = 0;         // samples of frame_ already delivered
    std::int64_t position_ = 0;
    mutable std::optional<std::int64_t> length_;
};

} // namespace tw
