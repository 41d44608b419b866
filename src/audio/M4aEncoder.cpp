#include "audio/M4aEncoder.hpp"

#include "audio/AudioFileReader.hpp"
#include "audio/ExportSession.hpp"
#include "audio/FfmpegError.hpp"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
}

namespace tw {

namespace {

// AAC-LC codes 1024 frames per packet; the FIFO cuts the render's blocks into those.
constexpr int aacFrameSize = 1024;

const AVCodec* aacEncoder()
{
    return avcodec_find_encoder_by_name("aac");
}

} // namespace

bool aacEncoderAvailable()
{
    return aacEncoder() != nullptr;
}

Error encoderError(int averror)
{
    return Error{ErrorDomain::exporting, ExportError::failed,
                 "No se pudo codificar el audio en AAC: " + ffmpegDescription(averror)};
}

M4aEncoder::~M4aEncoder()
{
    if (format_ && format_->pb)
        avio_closep(&format_->pb);
    avformat_free_context(format_);
    avcodec_free_context(&codec_);
    av_audio_fifo_free(fifo_);
    av_frame_free(&frame_);
    av_packet_free(&packet_);
}

Result<void> M4aEncoder::open(int channels, int bitRate, const std::string& title)
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
    codec_->sample_rate = sampleRate;
    av_channel_layout_default(&codec_->ch_layout, channels);
    codec_->bit_rate = bitRate;
    codec_->profile = FF_PROFILE_AAC_LOW;
    codec_->time_base = AVRational{1, sampleRate};
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
    frame_->sample_rate = sampleRate;
    frame_->nb_samples = aacFrameSize;
    if ((status = av_channel_layout_copy(&frame_->ch_layout, &codec_->ch_layout)) < 0 ||
        (status = av_frame_get_buffer(frame_, 0)) < 0)
        return encoderError(status);

    if ((status = avio_open(&format_->pb, path_.c_str(), AVIO_FLAG_WRITE)) < 0)
        return ffmpegError(AudioFileError::write, "No se pudo crear el archivo", path_, status);
    createdFile_ = true;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "movflags", "+faststart", 0);
    av_dict_set_int(&options, "movie_timescale", sampleRate, 0);
    status = avformat_write_header(format_, &options);
    av_dict_free(&options);
    if (status < 0)
        return ffmpegError(AudioFileError::write, "No se pudo escribir el archivo", path_, status);
    return {};
}

Result<void> M4aEncoder::write(const float* interleaved, int frames)
{
    const int channels = codec_->ch_layout.nb_channels;
    planes_.resize(static_cast<std::size_t>(frames * channels));
    float* planes[2] = {planes_.data(), planes_.data() + frames};
    for (int f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c)
            planes[c][f] = interleaved[f * channels + c];
    if (av_audio_fifo_write(fifo_, reinterpret_cast<void**>(planes), frames) < frames)
        return encoderError(AVERROR(ENOMEM));
    while (av_audio_fifo_size(fifo_) >= aacFrameSize)
        if (auto sent = sendFromFifo(aacFrameSize); !sent)
            return sent;
    return {};
}

Result<void> M4aEncoder::finish()
{
    if (const int rest = av_audio_fifo_size(fifo_); rest > 0)
        if (auto sent = sendFromFifo(rest); !sent)
            return sent;
    if (auto flushed = encode(nullptr); !flushed)
        return flushed;
    if (const int status = av_write_trailer(format_); status < 0)
        return ffmpegError(AudioFileError::write, "No se pudo escribir el archivo", path_, status);
    if (const int status = avio_closep(&format_->pb); status < 0)
        return ffmpegError(AudioFileError::write, "No se pudo escribir el archivo", path_, status);
    return {};
}

Result<void> M4aEncoder::sendFromFifo(int frames)
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

Result<void> M4aEncoder::encode(const AVFrame* frame)
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
        if (observer_)
            observer_(*packet_);
        av_packet_rescale_ts(packet_, codec_->time_base, stream_->time_base);
        packet_->stream_index = stream_->index;
        status = av_write_frame(format_, packet_);
        av_packet_unref(packet_);
        if (status < 0)
            return ffmpegError(AudioFileError::write, "No se pudo escribir el archivo", path_,
                               status);
    }
}

} // namespace tw
