#include "audio/FfmpegAudioFileReader.hpp"

#include "audio/FfmpegError.hpp"
#include "base/ReadableFile.hpp"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mathematics.h>
}

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace tw {

namespace {

// Sample conversions to float, the same scale factors libswresample uses, so the samples equal
// what `ffmpeg -f f32le` prints.
inline float toFloat(std::uint8_t v)
{
    return (static_cast<int>(v) - 0x80) * (1.0f / (1 << 7));
}
inline float toFloat(std::int16_t v)
{
    return v * (1.0f / (1 << 15));
}
inline float toFloat(std::int32_t v)
{
    return v * (1.0f / (1U << 31));
}
inline float toFloat(std::int64_t v)
{
    return v * (1.0f / (UINT64_C(1) << 63));
}
inline float toFloat(float v)
{
    return v;
}
inline float toFloat(double v)
{
    return static_cast<float>(v);
}

template <class T>
void convertPacked(const std::uint8_t* data, int offset, int frames, int channels, float* out)
{
    const T* in = reinterpret_cast<const T*>(data) + static_cast<std::size_t>(offset) * channels;
    const std::size_t count = static_cast<std::size_t>(frames) * channels;
    if constexpr (std::is_same_v<T, float>) {
        std::memcpy(out, in, count * sizeof(float));
    } else {
        for (std::size_t i = 0; i < count; ++i)
            out[i] = toFloat(in[i]);
    }
}

template <class T>
void convertPlanar(std::uint8_t* const* data, int offset, int frames, int channels, float* out)
{
    if (channels == 1)
        return convertPacked<T>(data[0], offset, frames, 1, out);
    for (int c = 0; c < channels; ++c) {
        const T* in = reinterpret_cast<const T*>(data[c]) + offset;
        for (int i = 0; i < frames; ++i)
            out[static_cast<std::size_t>(i) * channels + c] = toFloat(in[i]);
    }
}

bool isPcm(AVCodecID id)
{
    return id >= AV_CODEC_ID_PCM_S16LE && id < AV_CODEC_ID_ADPCM_IMA_QT;
}

// Containers whose header states the exact frame count of uncompressed audio.
bool containerCountsFrames(const AVInputFormat* format)
{
    const std::string name = format->name;
    return name == "wav" || name == "caf" || name == "aiff" || name == "w64";
}

// How far before its target a seek starts decoding, in samples. A lossy decoder started
// mid-stream needs several frames before its output equals a straight decode's: MP3's bit
// reservoir reaches back over frames, and a low-rate MP3 gave wrong samples for seven frames;
// Opus states its own pre-roll. Lossless streams only need the frame the target lies in.
std::int64_t seekPreroll(const AVCodecParameters& parameters)
{
    const AVCodecDescriptor* codec = avcodec_descriptor_get(parameters.codec_id);
    if (!codec || !(codec->props & AV_CODEC_PROP_LOSSY))
        return std::llround(parameters.sample_rate * 0.1);
    return std::max<std::int64_t>({std::llround(parameters.sample_rate * 0.5),
                                   std::int64_t{16} * parameters.frame_size,
                                   std::int64_t{2} * parameters.seek_preroll});
}

// The reader's own descriptor as FFmpeg's input, the same buffer size as its file protocol.
constexpr int inputBufferSize = 32768;

int readInput(void* opaque, std::uint8_t* buffer, int size)
{
    const int fd = *static_cast<const int*>(opaque);
    for (;;) {
        const ssize_t got = ::read(fd, buffer, static_cast<std::size_t>(size));
        if (got > 0)
            return static_cast<int>(got);
        if (got == 0)
            return AVERROR_EOF;
        if (errno != EINTR)
            return AVERROR(errno);
    }
}

std::int64_t seekInput(void* opaque, std::int64_t offset, int whence)
{
    const int fd = *static_cast<const int*>(opaque);
    if (whence & AVSEEK_SIZE) {
        struct stat status {};
        return ::fstat(fd, &status) == 0 ? static_cast<std::int64_t>(status.st_size)
                                         : AVERROR(errno);
    }
    const off_t moved = ::lseek(fd, offset, whence & ~AVSEEK_FORCE);
    return moved < 0 ? AVERROR(errno) : static_cast<std::int64_t>(moved);
}

void closeInput(AVFormatContext*& format, AVIOContext*& io)
{
    avformat_close_input(&format);
    if (io)
        av_freep(&io->buffer);
    avio_context_free(&io);
}

} // namespace

Result<std::unique_ptr<FfmpegAudioFileReader>>
FfmpegAudioFileReader::open(const std::filesystem::path& path)
{
    silenceFfmpegLog();
    std::unique_ptr<FfmpegAudioFileReader> reader(new FfmpegAudioFileReader);
    reader->path_ = path;
    Result<ReadableFile> file = ReadableFile::open(path);
    if (!file)
        return Error{ErrorDomain::audio, AudioFileError::open, file.error().description};
    reader->fd_ = file.value().release();
    if (auto input = reader->openInput(); !input)
        return input.error();
    const AVCodec* decoder = nullptr;
    int status = av_find_best_stream(reader->format_, AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    if (status < 0)
        return ffmpegError(AudioFileError::noAudio, "No hay audio que se pueda decodificar en",
                           path, status);
    reader->stream_ = status;
    AVStream* stream = reader->format_->streams[reader->stream_];
    const AVCodecParameters* parameters = stream->codecpar;
    if (parameters->sample_rate <= 0 || parameters->ch_layout.nb_channels <= 0)
        return ffmpegError(AudioFileError::noAudio, "No hay audio que se pueda decodificar en",
                           path, AVERROR_INVALIDDATA);
    reader->packet_ = av_packet_alloc();
    reader->frame_ = av_frame_alloc();
    if (!reader->packet_ || !reader->frame_)
        return ffmpegError(AudioFileError::open, "No se pudo abrir el archivo de audio", path,
                           AVERROR(ENOMEM));
    if (auto opened = reader->openDecoder(); !opened)
        return opened.error();
    reader->rate_ = parameters->sample_rate;
    reader->channels_ = parameters->ch_layout.nb_channels;
    reader->startTimestamp_ = stream->start_time != AV_NOPTS_VALUE ? stream->start_time : 0;
    reader->discardOtherStreams();
    reader->preroll_ = seekPreroll(*parameters);
    // Ogg's demuxer fills its index from what was read, and a seek it answers from that index
    // can label a page's first packet with the time of a later one (seen in a file's last
    // page): seeks there start on a demuxer that has read nothing.
    reader->freshInputPerSeek_ = std::string(reader->format_->iformat->name) == "ogg";
    if (isPcm(parameters->codec_id) && containerCountsFrames(reader->format_->iformat) &&
        stream->duration != AV_NOPTS_VALUE && stream->duration >= 0)
        reader->length_ = av_rescale_q(stream->duration, stream->time_base,
                                       AVRational{1, parameters->sample_rate});
    return reader;
}

Result<void> FfmpegAudioFileReader::openInput()
{
    // Built aside: a failed reopen leaves the demuxer in use as it was.
    if (::lseek(fd_, 0, SEEK_SET) < 0)
        return ffmpegError(AudioFileError::open, "No se pudo abrir el archivo de audio", path_,
                           AVERROR(errno));
    AVIOContext* io = nullptr;
    auto* buffer = static_cast<std::uint8_t*>(av_malloc(inputBufferSize));
    if (buffer) {
        io = avio_alloc_context(buffer, inputBufferSize, 0, &fd_, readInput, nullptr, seekInput);
        if (!io)
            av_free(buffer);
    }
    AVFormatContext* format = io ? avformat_alloc_context() : nullptr;
    if (!format) {
        closeInput(format, io);
        return ffmpegError(AudioFileError::open, "No se pudo abrir el archivo de audio", path_,
                           AVERROR(ENOMEM));
    }
    format->pb = io;
    format->flags |= AVFMT_FLAG_CUSTOM_IO;
    // The name still goes along: probing weighs the file's extension.
    const std::string name = path_.string();
    if (int status = avformat_open_input(&format, name.c_str(), nullptr, nullptr); status < 0) {
        closeInput(format, io);
        return ffmpegError(AudioFileError::open, "No se pudo abrir el archivo de audio", path_,
                           status);
    }
    if (int status = avformat_find_stream_info(format, nullptr); status < 0) {
        closeInput(format, io);
        return ffmpegError(AudioFileError::open, "No se pudo leer el archivo de audio", path_,
                           status);
    }
    closeInput(format_, io_);
    format_ = format;
    io_ = io;
    return {};
}

void FfmpegAudioFileReader::discardOtherStreams()
{
    // Everything else is dropped at the demuxer so that no time goes into other streams.
    for (unsigned i = 0; i < format_->nb_streams; ++i) {
        if (static_cast<int>(i) != stream_)
            format_->streams[i]->discard = AVDISCARD_ALL;
    }
}

Result<void> FfmpegAudioFileReader::openDecoder()
{
    avcodec_free_context(&codec_);
    const AVStream* stream = format_->streams[stream_];
    const AVCodec* decoder = avcodec_find_decoder(stream->codecpar->codec_id);
    if (!decoder)
        return ffmpegError(AudioFileError::noAudio, "No se pudo decodificar el audio de", path_,
                           AVERROR_DECODER_NOT_FOUND);
    codec_ = avcodec_alloc_context3(decoder);
    if (!codec_)
        return ffmpegError(AudioFileError::open, "No se pudo abrir el archivo de audio", path_,
                           AVERROR(ENOMEM));
    int status = avcodec_parameters_to_context(codec_, stream->codecpar);
    if (status >= 0) {
        codec_->pkt_timebase = stream->time_base;
        status = avcodec_open2(codec_, decoder, nullptr);
    }
    if (status < 0)
        return ffmpegError(AudioFileError::noAudio, "No se pudo decodificar el audio de", path_,
                           status);
    return {};
}

FfmpegAudioFileReader::~FfmpegAudioFileReader()
{
    av_frame_free(&frame_);
    av_packet_free(&packet_);
    avcodec_free_context(&codec_);
    closeInput(format_, io_);
    if (fd_ >= 0)
        ::close(fd_);
}

std::int64_t FfmpegAudioFileReader::length() const
{
    if (!length_)
        length_ = const_cast<FfmpegAudioFileReader*>(this)->countFramesToEnd();
    return *length_;
}

std::int64_t FfmpegAudioFileReader::countFramesToEnd()
{
    auto scanner = open(path_);
    if (!scanner)
        return position_;
    std::int64_t total = 0;
    for (;;) {
        auto step = scanner.value()->decodeNext();
        if (!step || step.value() == Step::end)
            break;
        total += scanner.value()->frame_->nb_samples;
    }
    return total;
}

Result<FfmpegAudioFileReader::Step> FfmpegAudioFileReader::decodeNext()
{
    for (;;) {
        int status = avcodec_receive_frame(codec_, frame_);
        if (status == 0) {
            if (frame_->nb_samples <= 0)
                continue;
            // A channel count that changes mid-stream is not followed: every frame must fit
            // the interleaved layout the reader promised.
            if (frame_->ch_layout.nb_channels != channels_) {
                av_frame_unref(frame_);
                return ffmpegError(AudioFileError::read, "Cambia el número de canales en", path_,
                                   AVERROR_PATCHWELCOME);
            }
            frameOffset_ = 0;
            return Step::frame;
        }
        if (status == AVERROR_EOF)
            return Step::end;
        if (status != AVERROR(EAGAIN))
            return ffmpegError(AudioFileError::read, "No se pudo decodificar el audio de", path_,
                               status);
        status = av_read_frame(format_, packet_);
        if (status == AVERROR_EOF || (status < 0 && avio_feof(format_->pb))) {
            if (inputEnded_)
                return Step::end;
            inputEnded_ = true;
            avcodec_send_packet(codec_, nullptr); // drains the decoder's last frames
            continue;
        }
        if (status < 0)
            return ffmpegError(AudioFileError::read, "No se pudo leer el archivo de audio", path_,
                               status);
        if (packet_->stream_index == stream_) {
            status = avcodec_send_packet(codec_, packet_);
            // A damaged packet is skipped, as the ffmpeg tool does; the stream goes on.
            if (status < 0 && status != AVERROR_INVALIDDATA && status != AVERROR(EAGAIN)) {
                av_packet_unref(packet_);
                return ffmpegError(AudioFileError::read, "No se pudo decodificar el audio de",
                                   path_, status);
            }
        }
        av_packet_unref(packet_);
    }
}

void FfmpegAudioFileReader::copyOut(float* out, int offset, int frames) const
{
    std::uint8_t* const* data = frame_->extended_data;
    switch (static_cast<AVSampleFormat>(frame_->format)) {
    case AV_SAMPLE_FMT_U8:
        return convertPacked<std::uint8_t>(data[0], offset, frames, channels_, out);
    case AV_SAMPLE_FMT_S16:
        return convertPacked<std::int16_t>(data[0], offset, frames, channels_, out);
    case AV_SAMPLE_FMT_S32:
        return convertPacked<std::int32_t>(data[0], offset, frames, channels_, out);
    case AV_SAMPLE_FMT_S64:
        return convertPacked<std::int64_t>(data[0], offset, frames, channels_, out);
    case AV_SAMPLE_FMT_FLT:
        return convertPacked<float>(data[0], offset, frames, channels_, out);
    case AV_SAMPLE_FMT_DBL:
        return convertPacked<double>(data[0], offset, frames, channels_, out);
    case AV_SAMPLE_FMT_U8P:
        return convertPlanar<std::uint8_t>(data, offset, frames, channels_, out);
    case AV_SAMPLE_FMT_S16P:
        return convertPlanar<std::int16_t>(data, offset, frames, channels_, out);
    case AV_SAMPLE_FMT_S32P:
        return convertPlanar<std::int32_t>(data, offset, frames, channels_, out);
    case AV_SAMPLE_FMT_S64P:
        return convertPlanar<std::int64_t>(data, offset, frames, channels_, out);
    case AV_SAMPLE_FMT_FLTP:
        return convertPlanar<float>(data, offset, frames, channels_, out);
    case AV_SAMPLE_FMT_DBLP:
        return convertPlanar<double>(data, offset, frames, channels_, out);
    default:
        std::fill(out, out + static_cast<std::size_t>(frames) * channels_, 0.0f);
    }
}

Result<int> FfmpegAudioFileReader::read(float* interleaved, int frames)
{
    if (atEnd_)
        return 0;
    int done = 0;
    while (done < frames) {
        const int available = frame_->nb_samples - frameOffset_;
        if (available > 0) {
            const int n = std::min(available, frames - done);
            copyOut(interleaved + static_cast<std::size_t>(done) * channels_, frameOffset_, n);
            frameOffset_ += n;
            done += n;
            position_ += n;
            continue;
        }
        const std::int64_t nextStart = position_; // the frame at hand is used up
        auto step = decodeNext();
        if (!step)
            return step.error();
        if (step.value() == Step::end) {
            reachedEnd();
            break;
        }
        frameStart_ = nextStart;
    }
    return done;
}

void FfmpegAudioFileReader::reachedEnd()
{
    av_frame_unref(frame_);
    frameStart_ = position_;
    length_ = position_; // what the decoder really delivered
}

Result<void> FfmpegAudioFileReader::skipTo(std::int64_t target)
{
    if (frame_->nb_samples == 0)
        frameStart_ = position_;
    while (position_ < target) {
        const std::int64_t end = frameStart_ + frame_->nb_samples;
        if (target < end) {
            frameOffset_ = static_cast<int>(target - frameStart_);
            position_ = target;
            return {};
        }
        frameOffset_ = frame_->nb_samples;
        position_ = end;
        auto step = decodeNext();
        if (!step)
            return step.error();
        if (step.value() == Step::end) {
            reachedEnd();
            return {};
        }
        frameStart_ = end;
    }
    return {};
}

Result<void> FfmpegAudioFileReader::moveToEnd()
{
    // The decoder state no longer matters: the next seek starts afresh.
    av_frame_unref(frame_);
    frameOffset_ = 0;
    frameStart_ = position_ = length();
    atEnd_ = true;
    return {};
}

Result<void> FfmpegAudioFileReader::seek(std::int64_t target)
{
    target = std::max<std::int64_t>(target, 0);
    if (target == position_ && !atEnd_)
        return {};
    atEnd_ = false;
    if (length_ && target >= *length_)
        return moveToEnd();
    if (frame_->nb_samples > 0 && target >= frameStart_ &&
        target < frameStart_ + frame_->nb_samples) {
        frameOffset_ = static_cast<int>(target - frameStart_);
        position_ = target;
        return {};
    }
    // A short hop forward is cheaper to decode through than to seek.
    if (target > position_ && target - position_ <= static_cast<std::int64_t>(rate_))
        return skipTo(target);

    if (freshInputPerSeek_) {
        if (auto input = openInput(); !input) {
            (void)moveToEnd(); // the old demuxer's file offset has moved
            return input.error();
        }
        discardOtherStreams();
    }
    const AVStream* stream = format_->streams[stream_];
    const AVRational perSample{1, static_cast<int>(rate_)};
    std::int64_t preroll = preroll_;
    for (;;) {
        // Near the start the seek aims before the first frame, so that the priming packets
        // (AAC's first frame) are decoded again and the samples equal those of a plain read.
        const std::int64_t from = target - preroll;
        const std::int64_t timestamp =
            startTimestamp_ + av_rescale_q(from, perSample, stream->time_base);
        int status = av_seek_frame(format_, stream_, timestamp, AVSEEK_FLAG_BACKWARD);
        if (status < 0 && from < 0)
            status = av_seek_frame(format_, stream_, startTimestamp_, AVSEEK_FLAG_BACKWARD);
        if (status < 0 && from <= 0)
            status = avformat_seek_file(format_, stream_, INT64_MIN, 0, 0, AVSEEK_FLAG_BYTE);
        if (status < 0 && from > 0) {
            // FFmpeg's search by time stamps can fail for one point and not for an earlier one
            // (FLAC near the end of a file, after a seek to its start): aim further back.
            preroll *= 4;
            continue;
        }
        if (status < 0 && target >= length())
            return moveToEnd();
        if (status < 0)
            return ffmpegError(AudioFileError::seek, "No se pudo situar la lectura en", path_,
                               status);
        // A fresh decoder, not a flushed one: flushing keeps state (AAC's window shape and its
        // noise substitution's random state), so what a seek gives would depend on what was
        // read before it, and a seek to the start would not give what a plain read gives.
        if (auto fresh = openDecoder(); !fresh)
            return fresh.error();
        av_frame_unref(frame_);
        inputEnded_ = false;
        auto step = decodeNext();
        if (!step)
            return step.error();
        if (step.value() == Step::end)
            return moveToEnd();
        // The frame's place in the file comes from its time stamp. It may lie before the
        // first frame a plain read delivers (the priming frames of MP3 and AAC, which a seek
        // back to the start does not always drop again); skipTo discards those as well.
        const std::int64_t stamp = frame_->best_effort_timestamp;
        if (stamp == AV_NOPTS_VALUE && from > 0) {
            preroll = target; // no time stamps: decode from the start
            continue;
        }
        const std::int64_t start =
            stamp == AV_NOPTS_VALUE ? 0
                                    : av_rescale_q_rnd(stamp - startTimestamp_, stream->time_base,
                                                       perSample, AV_ROUND_NEAR_INF);
        if (start > target && from > 0) {
            preroll *= 4; // landed late; go further back
            continue;
        }
        frameStart_ = start;
        frameOffset_ = 0;
        position_ = start;
        return skipTo(target);
    }
}

} // namespace tw
