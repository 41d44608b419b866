#include "audio/AudioFileEncoder.hpp"

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
#include <libavutil/mem.h>
}

#include <cmath>
#include <cstring>

namespace tw {

AudioFileEncoder::AudioFileEncoder(EncodedFormat format, std::filesystem::path path)
    : format_(std::move(format))
    , path_(std::move(path))
{
}

AudioFileEncoder::~AudioFileEncoder()
{
    if (muxer_ && muxer_->pb)
        avio_closep(&muxer_->pb);
    avformat_free_context(muxer_); // with its chapters and tags
    avcodec_free_context(&codec_);
    av_audio_fifo_free(fifo_);
    av_frame_free(&frame_);
    av_packet_free(&packet_);
}

Error AudioFileEncoder::failure(int averror) const
{
    return Error{ErrorDomain::exporting, ExportError::failed,
                 "No se pudo codificar el audio en " + format_.codecName + ": " +
                     ffmpegDescription(averror)};
}

Error AudioFileEncoder::writeFailure(const char* what, int averror) const
{
    return ffmpegError(AudioFileError::write, what, path_, averror);
}

Result<void> AudioFileEncoder::open(int channels, const ExportMetadata& metadata)
{
    const AVCodec* encoder = avcodec_find_encoder_by_name(format_.encoder.c_str());
    if (!encoder)
        return exportError(ExportError::noSession);
    silenceFfmpegLog();
    // The muxer may reopen the file by this name (to move an index to the front).
    int status =
        avformat_alloc_output_context2(&muxer_, nullptr, format_.muxer.c_str(), path_.c_str());
    if (status < 0)
        return failure(status);
    codec_ = avcodec_alloc_context3(encoder);
    frame_ = av_frame_alloc();
    packet_ = av_packet_alloc();
    if (!codec_ || !frame_ || !packet_)
        return failure(AVERROR(ENOMEM));

    codec_->sample_fmt = AV_SAMPLE_FMT_FLTP;
    codec_->sample_rate = sampleRate;
    av_channel_layout_default(&codec_->ch_layout, channels);
    codec_->bit_rate = channels == 1 ? format_.monoBitRate : format_.stereoBitRate;
    codec_->profile = format_.profile;
    codec_->time_base = AVRational{1, sampleRate};
    codec_->thread_count = 0; // "auto", as the ffmpeg tool opens its encoders
    if (muxer_->oformat->flags & AVFMT_GLOBALHEADER)
        codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if ((status = avcodec_open2(codec_, encoder, nullptr)) < 0)
        return failure(status);
    // Whole packets of the encoder's own length; the FIFO cuts the render's blocks into those.
    if (codec_->frame_size > 0)
        packetFrames_ = codec_->frame_size;
    fifo_ = av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, channels, 4 * packetFrames_);
    frame_->format = AV_SAMPLE_FMT_FLTP;
    frame_->sample_rate = sampleRate;
    frame_->nb_samples = packetFrames_;
    if (!fifo_)
        return failure(AVERROR(ENOMEM));
    if ((status = av_channel_layout_copy(&frame_->ch_layout, &codec_->ch_layout)) < 0 ||
        (status = av_frame_get_buffer(frame_, 0)) < 0)
        return failure(status);

    stream_ = avformat_new_stream(muxer_, nullptr);
    if (!stream_)
        return failure(AVERROR(ENOMEM));
    stream_->time_base = codec_->time_base;
    if ((status = avcodec_parameters_from_context(stream_->codecpar, codec_)) < 0)
        return failure(status);
    addTags(metadata);
    if (auto added = addChapters(metadata.chapters); !added)
        return added;
    AVStream* cover = nullptr;
    if (metadata.cover) {
        auto added = addCoverStream(*metadata.cover);
        if (!added)
            return added.error();
        cover = added.value();
    }

    if ((status = avio_open(&muxer_->pb, path_.c_str(), AVIO_FLAG_WRITE)) < 0)
        return writeFailure("No se pudo crear el archivo", status);
    createdFile_ = true;
    AVDictionary* options = nullptr;
    for (const auto& [name, value] : format_.muxerOptions)
        av_dict_set(&options, name.c_str(), value.c_str(), 0);
    status = avformat_write_header(muxer_, &options);
    av_dict_free(&options);
    if (status < 0)
        return writeFailure("No se pudo escribir el archivo", status);
    // Before any audio: a muxer that puts the picture in the header holds the audio until then.
    if (cover)
        return writeCover(*cover, *metadata.cover);
    return {};
}

void AudioFileEncoder::addTags(const ExportMetadata& metadata)
{
    for (const auto& [key, value] : {std::pair{"title", &metadata.title},
                                     {"artist", &metadata.artist},
                                     {"album", &metadata.album}})
        if (!value->empty())
            av_dict_set(&muxer_->metadata, key, value->c_str(), 0);
}

Result<void> AudioFileEncoder::addChapters(const std::vector<ExportChapter>& chapters)
{
    // Kept by the context, which frees them with itself.
    const AVRational timeBase{1, sampleRate};
    for (std::size_t i = 0; i < chapters.size(); ++i) {
        void* grown =
            av_realloc_array(muxer_->chapters, muxer_->nb_chapters + 1, sizeof(AVChapter*));
        auto* chapter = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
        if (grown)
            muxer_->chapters = static_cast<AVChapter**>(grown);
        if (!grown || !chapter) {
            av_free(chapter);
            return failure(AVERROR(ENOMEM));
        }
        muxer_->chapters[muxer_->nb_chapters++] = chapter;
        chapter->id = static_cast<std::int64_t>(i);
        chapter->time_base = timeBase;
        chapter->start = std::llround(chapters[i].start * sampleRate);
        chapter->end = std::llround(chapters[i].end * sampleRate);
        av_dict_set(&chapter->metadata, "title", chapters[i].title.c_str(), 0);
    }
    return {};
}

Result<AVStream*> AudioFileEncoder::addCoverStream(const CoverArt& cover)
{
    AVStream* stream = avformat_new_stream(muxer_, nullptr);
    if (!stream)
        return failure(AVERROR(ENOMEM));
    stream->disposition = AV_DISPOSITION_ATTACHED_PIC;
    stream->time_base = AVRational{1, sampleRate};
    stream->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
    stream->codecpar->codec_id =
        cover.kind == CoverArt::Kind::png ? AV_CODEC_ID_PNG : AV_CODEC_ID_MJPEG;
    stream->codecpar->width = cover.width;
    stream->codecpar->height = cover.height;
    // ID3's picture type; the MPEG-4 cover has none.
    av_dict_set(&stream->metadata, "comment", "Cover (front)", 0);
    return stream;
}

Result<void> AudioFileEncoder::writeCover(AVStream& stream, const CoverArt& cover)
{
    AVPacket* picture = av_packet_alloc();
    int status =
        picture ? av_new_packet(picture, static_cast<int>(cover.bytes.size())) : AVERROR(ENOMEM);
    if (status >= 0) {
        std::memcpy(picture->data, cover.bytes.data(), cover.bytes.size());
        picture->stream_index = stream.index;
        picture->flags |= AV_PKT_FLAG_KEY;
        picture->pts = picture->dts = 0;
        status = av_write_frame(muxer_, picture);
    }
    av_packet_free(&picture);
    if (status < 0)
        return writeFailure("No se pudo escribir la portada en el archivo", status);
    return {};
}

Result<void> AudioFileEncoder::write(const float* interleaved, int frames)
{
    const int channels = codec_->ch_layout.nb_channels;
    planes_.resize(static_cast<std::size_t>(frames * channels));
    float* planes[2] = {planes_.data(), planes_.data() + frames};
    for (int f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c)
            planes[c][f] = interleaved[f * channels + c];
    if (av_audio_fifo_write(fifo_, reinterpret_cast<void**>(planes), frames) < frames)
        return failure(AVERROR(ENOMEM));
    while (av_audio_fifo_size(fifo_) >= packetFrames_)
        if (auto sent = sendFromFifo(packetFrames_); !sent)
            return sent;
    return {};
}

Result<void> AudioFileEncoder::finish()
{
    if (const int rest = av_audio_fifo_size(fifo_); rest > 0)
        if (auto sent = sendFromFifo(rest); !sent)
            return sent;
    if (auto flushed = encode(nullptr); !flushed)
        return flushed;
    if (const int status = av_write_trailer(muxer_); status < 0)
        return writeFailure("No se pudo escribir el archivo", status);
    if (const int status = avio_closep(&muxer_->pb); status < 0)
        return writeFailure("No se pudo escribir el archivo", status);
    return {};
}

Result<void> AudioFileEncoder::sendFromFifo(int frames)
{
    // Free at once unless the encoder still holds the previous packet's samples.
    frame_->nb_samples = packetFrames_;
    if (const int status = av_frame_make_writable(frame_); status < 0)
        return failure(status);
    frame_->nb_samples = frames;
    if (av_audio_fifo_read(fifo_, reinterpret_cast<void**>(frame_->data), frames) < frames)
        return failure(AVERROR_BUG);
    frame_->pts = nextPts_;
    nextPts_ += frames;
    return encode(frame_);
}

Result<void> AudioFileEncoder::encode(const AVFrame* frame)
{
    int status = avcodec_send_frame(codec_, frame);
    if (status < 0)
        return failure(status);
    for (;;) {
        status = avcodec_receive_packet(codec_, packet_);
        if (status == AVERROR(EAGAIN) || status == AVERROR_EOF)
            return {};
        if (status < 0)
            return failure(status);
        if (observer_)
            observer_(*packet_);
        av_packet_rescale_ts(packet_, codec_->time_base, stream_->time_base);
        packet_->stream_index = stream_->index;
        status = av_write_frame(muxer_, packet_);
        av_packet_unref(packet_);
        if (status < 0)
            return writeFailure("No se pudo escribir el archivo", status);
    }
}

} // namespace tw
