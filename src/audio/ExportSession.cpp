#include "audio/ExportSession.hpp"

#include "audio/AudioFileReader.hpp"
#include "audio/Denormals.hpp"
#include "audio/FfmpegError.hpp"
#include "audio/OfflineRenderer.hpp"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
}

#include <algorithm>
#include <array>
#include <condition_variable>
#include <vector>

namespace tw {

namespace {

// AAC-LC codes 1024 frames per packet; the FIFO cuts the render's blocks into those.
constexpr int aacFrameSize = 1024;
// The render reaches this much of the progress; the rest is the encoder's flush and the move
// of the index to the front of the file.
constexpr float renderShare = 0.99f;

const AVCodec* aacEncoder()
{
    return avcodec_find_encoder_by_name("aac");
}

Error encoderError(int averror)
{
    return Error{ErrorDomain::exporting, ExportError::failed,
                 "No se pudo codificar el audio en AAC: " + ffmpegDescription(averror)};
}

// One AAC-LC stream in an .m4a file, fed planar float frames. Lives on the export thread.
class M4aEncoder {
public:
    explicit M4aEncoder(std::filesystem::path path) : path_(std::move(path)) {}
    ~M4aEncoder()
    {
        if (format_ && format_->pb)
            avio_closep(&format_->pb);
        avformat_free_context(format_);
        avcodec_free_context(&codec_);
        av_audio_fifo_free(fifo_);
        av_frame_free(&frame_);
        av_packet_free(&packet_);
    }
    M4aEncoder(const M4aEncoder&) = delete;
    M4aEncoder& operator=(const M4aEncoder&) = delete;

    // Whether the output file was created (and so is this encoder's to remove on failure).
    bool createdFile() const { return createdFile_; }

    Result<void> open(int channels, int bitRate, const std::string& title)
    {
        const AVCodec* encoder = aacEncoder();
        if (!encoder)
            return exportError(ExportError::noSession);
        silenceFfmpegLog();
        // The muxer reopens the file by this name to move the index to the front.
        int status = avformat_alloc_output_context2(&format_, nullptr, "ipod", path_.c_str());
        if (status < 0)
            return encoderError(status);
        codec_ = avcodec_alloc_context3(encoder);
        frame_ = av_frame_alloc();
        packet_ = av_packet_alloc();
        fifo_ = av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, channels, 4 * aacFrameSize);
        if (!codec_ || !frame_ || !packet_ || !fifo_)
            return encoderError(AVERROR(ENOMEM));

        codec_->sample_fmt = AV_SAMPLE_FMT_FLTP;
        codec_->sample_rate = ExportSession::sampleRate;
        av_channel_layout_default(&codec_->ch_layout, channels);
        codec_->bit_rate = bitRate;
        codec_->profile = FF_PROFILE_AAC_LOW;
        codec_->time_base = AVRational{1, ExportSession::sampleRate};
        codec_->thread_count = 0; // "auto", as the ffmpeg tool opens its encoders
        if (format_->oformat->flags & AVFMT_GLOBALHEADER)
            codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        if ((status = avcodec_open2(codec_, encoder, nullptr)) < 0)
            return encoderError(status);

        stream_ = avformat_new_stream(format_, nullptr);
        if (!stream_)
            return encoderError(AVERROR(ENOMEM));
        stream_->time_base = codec_->time_base;
        if ((status = avcodec_parameters_from_context(stream_->codecpar, codec_)) < 0)
            return encoderError(status);
        if (!title.empty())
            av_dict_set(&format_->metadata, "title", title.c_str(), 0);

        frame_->format = AV_SAMPLE_FMT_FLTP;
        frame_->sample_rate = ExportSession::sampleRate;
        frame_->nb_samples = aacFrameSize;
        if ((status = av_channel_layout_copy(&frame_->ch_layout, &codec_->ch_layout)) < 0 ||
            (status = av_frame_get_buffer(frame_, 0)) < 0)
            return encoderError(status);

        if ((status = avio_open(&format_->pb, path_.c_str(), AVIO_FLAG_WRITE)) < 0)
            return ffmpegError(AudioFileError::write, "No se pudo crear el archivo", path_, status);
        createdFile_ = true;
        // The movie timescale equal to the sample rate lets the edit list skip the encoder's
        // priming frames exactly (the default 1000 rounds the edit to milliseconds).
        AVDictionary* options = nullptr;
        av_dict_set(&options, "movflags", "+faststart", 0);
        av_dict_set_int(&options, "movie_timescale", ExportSession::sampleRate, 0);
        status = avformat_write_header(format_, &options);
        av_dict_free(&options);
        if (status < 0)
            return ffmpegError(AudioFileError::write, "No se pudo escribir el archivo", path_,
                               status);
        return {};
    }

    // Queues frames of planar audio and encodes every whole packet's worth.
    Result<void> write(float** planes, int frames)
    {
        if (av_audio_fifo_write(fifo_, reinterpret_cast<void**>(planes), frames) < frames)
            return encoderError(AVERROR(ENOMEM));
        while (av_audio_fifo_size(fifo_) >= aacFrameSize)
            if (auto sent = sendFromFifo(aacFrameSize); !sent)
                return sent;
        return {};
    }

    // Encodes the short last packet, drains the encoder and writes the index at the front.
    Result<void> finish()
    {
        if (const int rest = av_audio_fifo_size(fifo_); rest > 0)
            if (auto sent = sendFromFifo(rest); !sent)
                return sent;
        if (auto flushed = encode(nullptr); !flushed)
            return flushed;
        if (const int status = av_write_trailer(format_); status < 0)
            return ffmpegError(AudioFileError::write, "No se pudo escribir el archivo", path_,
                               status);
        if (const int status = avio_closep(&format_->pb); status < 0)
            return ffmpegError(AudioFileError::write, "No se pudo escribir el archivo", path_,
                               status);
        return {};
    }

private:
    Result<void> sendFromFifo(int frames)
    {
        // Free at once unless the encoder still holds the previous packet's samples.
        frame_->nb_samples = aacFrameSize;
        if (const int status = av_frame_make_writable(frame_); status < 0)
            return encoderError(status);
        frame_->nb_samples = frames;
        if (av_audio_fifo_read(fifo_, reinterpret_cast<void**>(frame_->data), frames) < frames)
            return encoderError(AVERROR_BUG);
        frame_->pts = nextPts_;
        nextPts_ += frames;
        return encode(frame_);
    }

    // Sends a frame (nullptr: the end) and writes every packet the encoder has ready.
    Result<void> encode(const AVFrame* frame)
    {
        int status = avcodec_send_frame(codec_, frame);
        if (status < 0)
            return encoderError(status);
        for (;;) {
            status = avcodec_receive_packet(codec_, packet_);
            if (status == AVERROR(EAGAIN) || status == AVERROR_EOF)
                return {};
            if (status < 0)
                return encoderError(status);
            av_packet_rescale_ts(packet_, codec_->time_base, stream_->time_base);
            packet_->stream_index = stream_->index;
            status = av_write_frame(format_, packet_);
            av_packet_unref(packet_);
            if (status < 0)
                return ffmpegError(AudioFileError::write, "No se pudo escribir el archivo", path_,
                                   status);
        }
    }

    std::filesystem::path path_;
    AVFormatContext* format_ = nullptr;
    AVCodecContext* codec_ = nullptr;
    AVStream* stream_ = nullptr;
    AVAudioFifo* fifo_ = nullptr;
    AVFrame* frame_ = nullptr;
    AVPacket* packet_ = nullptr;
    std::int64_t nextPts_ = 0;
    bool createdFile_ = false;
};

// Rendered blocks on their way from the render thread to the encoder: a fixed ring of planar
// buffers, so that rendering and encoding run side by side on two cores.
class BlockQueue {
public:
    struct Block {
        std::vector<float> left, right;
        int frames = 0;
    };

    // Render thread: the next free block, after waiting for one; nullptr once stopped.
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
    // Render thread: no more blocks will come.
    void end()
    {
        std::lock_guard lock(mutex_);
        ended_ = true;
        changed_.notify_all();
    }
    // Encoder thread: the oldest block, after waiting for one; nullptr at the end.
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
    // Encoder thread: stop the render (after a failure, a cancel, or at the end).
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

// Export thread: renders the range on a helper thread and encodes the blocks here until the end
// or a cancel; progress follows the encoded frames.
Result<void> encodeRange(M4aEncoder& encoder, const Composition& composition, const AudioMix& mix,
                         MediaTime start, MediaTime duration, int channels,
                         const std::atomic<bool>& cancelled, std::atomic<float>& progress)
{
    ScopedDenormalsOff denormals;
    BlockQueue queue;
    std::optional<Error> renderFailure;
    std::thread renderer([&] {
        OfflineRenderOptions options;
        options.sampleRate = ExportSession::sampleRate;
        options.runTaps = false;
        auto render = renderOffline(composition, mix, start, duration, options,
                                    [&](const float* stereo, int frames) {
                                        if (cancelled.load(std::memory_order_relaxed))
                                            return false;
                                        BlockQueue::Block* block = queue.acquire();
                                        if (!block)
                                            return false;
                                        const auto n = static_cast<std::size_t>(frames);
                                        if (block->left.size() < n) {
                                            block->left.resize(n);
                                            block->right.resize(n);
                                        }
                                        // The graph renders stereo and a mono source feeds both
                                        // sides alike, so a mono export keeps the left one.
                                        if (channels == 1) {
                                            for (std::size_t i = 0; i < n; ++i)
                                                block->left[i] = stereo[2 * i];
                                        } else {
                                            for (std::size_t i = 0; i < n; ++i) {
                                                block->left[i] = stereo[2 * i];
                                                block->right[i] = stereo[2 * i + 1];
                                            }
                                        }
                                        block->frames = frames;
                                        queue.publish();
                                        return true;
                                    });
        if (!render)
            renderFailure = render.error();
        queue.end();
    });

    const auto totalFrames = static_cast<float>(duration.frameAt(ExportSession::sampleRate));
    std::int64_t encoded = 0;
    Result<void> written;
    while (BlockQueue::Block* block = queue.front()) {
        if (cancelled.load(std::memory_order_relaxed))
            break;
        float* planes[2] = {block->left.data(), block->right.data()};
        const int frames = block->frames;
        written = encoder.write(planes, frames);
        queue.release();
        if (!written)
            break;
        encoded += frames;
        progress.store(renderShare * static_cast<float>(encoded) / totalFrames,
                       std::memory_order_relaxed);
    }
    queue.stop();
    renderer.join();
    if (renderFailure)
        return *renderFailure;
    return written;
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
    if (!aacEncoder() || composition.duration().ticks <= 0)
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

    std::optional<Error> failure;
    bool created = false, cancelled = false;
    {
        M4aEncoder encoder(outputPath_);
        if (auto opened =
                encoder.open(channels_, channels_ == 1 ? monoBitRate : stereoBitRate, title_);
            !opened)
            failure = opened.error();
        created = encoder.createdFile();

        if (!failure)
            if (auto encoded = encodeRange(encoder, composition_, mix_, start, end - start,
                                           channels_, cancelled_, progress_);
                !encoded)
                failure = encoded.error();
        // From here on a cancel is too late: all that is left is the encoder's flush.
        cancelled = !failure && cancelled_.load(std::memory_order_relaxed);
        if (!failure && !cancelled)
            if (auto finished = encoder.finish(); !finished)
                failure = finished.error();
    } // the encoder closes the file here

    if ((failure || cancelled) && created) {
        std::error_code ignored;
        std::filesystem::remove(outputPath_, ignored);
    }
    if (failure)
        return done(Status::failed, std::move(failure));
    done(cancelled ? Status::cancelled : Status::completed);
}

} // namespace tw
