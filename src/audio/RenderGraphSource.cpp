#include "audio/RenderGraphSource.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tw {

namespace {

constexpr int inputChunkFrames = 4096;

std::int64_t floorDiv(std::int64_t a, std::int64_t b)
{
    return a / b - ((a % b != 0) && ((a < 0) != (b < 0)) ? 1 : 0);
}

std::int64_t ceilDiv(std::int64_t a, std::int64_t b)
{
    return -floorDiv(-a, b);
}

// More than two channels. 5.1 (front left, right, centre, low-frequency, back left, right, the
// order of WAV and of FFmpeg's decoders) folds down with the usual -3 dB for the centre and the
// back and without the low-frequency channel, so dialogue in the centre stays; any other layout
// keeps its first two channels as left and right.
void downmixToStereo(const float* from, int channels, float* stereo, int frames)
{
    constexpr float minus3dB = 0.70710678f;
    for (int f = 0; f < frames; ++f) {
        const float* in = from + static_cast<std::ptrdiff_t>(f) * channels;
        float* out = stereo + static_cast<std::ptrdiff_t>(f) * graphChannels;
        if (channels == 6) {
            out[0] = in[0] + minus3dB * (in[2] + in[4]);
            out[1] = in[1] + minus3dB * (in[2] + in[5]);
        } else {
            out[0] = in[0];
            out[1] = in[1];
        }
    }
}

} // namespace

ReaderPool::ReaderPool(std::vector<SourceFile> sources)
    : sources_(std::move(sources))
    , readers_(sources_.size())
{
}

Result<AudioFileReader*> ReaderPool::reader(int source)
{
    auto& slot = readers_.at(static_cast<std::size_t>(source));
    if (!slot) {
        auto opened = AudioFileReader::open(sources_[static_cast<std::size_t>(source)].path);
        if (!opened)
            return opened.error();
        slot = std::move(opened).value();
    }
    return slot.get();
}

Result<void> ReaderPool::openAll()
{
    for (std::size_t i = 0; i < sources_.size(); ++i)
        if (auto opened = reader(static_cast<int>(i)); !opened)
            return opened.error();
    return {};
}

Result<void> PieceStream::start(const TrackPiece& piece, ReaderPool& pool, std::int64_t offset)
{
    auto opened = pool.reader(piece.source);
    if (!opened)
        return opened.error();
    reader_ = opened.value();
    fileChannels_ = reader_->channels();
    streamChannels_ = std::min(fileChannels_, graphChannels);
    // The length the composition was built with: asking a compressed file's reader would
    // decode it to the end once more.
    fileFrames_ = pool.sources()[static_cast<std::size_t>(piece.source)].frames;
    offset_ = offset;

    const int inputRate = static_cast<int>(std::lround(reader_->sampleRate()));
    if (inputRate == outputRate_) {
        resampler_.reset();
        inputPosition_ = piece.sourceStart + offset;
        silentFrom_ = fileFrames_ - piece.sourceStart;
        return {};
    }

    if (!resampler_ || resampler_->inputRate() != inputRate ||
        resampler_->channels() != streamChannels_) {
        auto made = Resampler::create(inputRate, outputRate_, streamChannels_);
        if (!made)
            return made.error();
        resampler_ = std::move(made).value();
    } else if (auto restarted = resampler_->restart(); !restarted) {
        return restarted.error();
    }
    const std::int64_t p = resampler_->outputPeriod();
    const std::int64_t q = resampler_->inputPeriod();
    silentFrom_ = ceilDiv((fileFrames_ - piece.sourceStart) * p, q);
    if (offset >= silentFrom_)
        return {};

    // Start the resampler on a grid point (an input frame that lands exactly on an output
    // frame) far enough before the offset that the filter has real history, but not before
    // the file's first frame.
    const std::int64_t periodsBefore = ceilDiv(resampler_->historyFrames(), q);
    const std::int64_t firstPossible = -floorDiv(piece.sourceStart, q);
    const std::int64_t startPeriod = std::max(floorDiv(offset, p) - periodsBefore, firstPossible);
    inputPosition_ = piece.sourceStart + startPeriod * q;
    std::int64_t discard = offset - startPeriod * p;
    while (discard > 0) {
        const int count = static_cast<int>(std::min<std::int64_t>(discard, inputChunkFrames));
        if (auto pulled = pullResampled(count); !pulled)
            return pulled.error();
        discard -= count;
    }
    return {};
}

Result<void> PieceStream::produce(float* stereo, int frames)
{
    auto produced = resampler_ ? produceResampled(stereo, frames) : produceDirect(stereo, frames);
    offset_ += frames;
    return produced;
}

Result<void> PieceStream::produceDirect(float* stereo, int frames)
{
    const int sound = static_cast<int>(std::clamp<std::int64_t>(silentFrom_ - offset_, 0, frames));
    if (sound > 0) {
        auto read = readInput(sound);
        if (!read)
            return read.error();
        toStereo(input_.data(), stereo, sound);
    }
    std::fill(stereo + static_cast<std::ptrdiff_t>(sound) * graphChannels,
              stereo + static_cast<std::ptrdiff_t>(frames) * graphChannels, 0.0f);
    return {};
}

Result<void> PieceStream::produceResampled(float* stereo, int frames)
{
    const int sound = static_cast<int>(std::clamp<std::int64_t>(silentFrom_ - offset_, 0, frames));
    if (sound > 0) {
        if (auto pulled = pullResampled(sound); !pulled)
            return pulled.error();
        toStereo(resampled_.data(), stereo, sound);
    }
    std::fill(stereo + static_cast<std::ptrdiff_t>(sound) * graphChannels,
              stereo + static_cast<std::ptrdiff_t>(frames) * graphChannels, 0.0f);
    return {};
}

Result<int> PieceStream::readInput(int frames)
{
    input_.resize(static_cast<std::size_t>(frames * streamChannels_));
    int filled = 0;
    const std::int64_t available = std::max<std::int64_t>(0, fileFrames_ - inputPosition_);
    const int wanted = static_cast<int>(std::min<std::int64_t>(frames, available));
    if (wanted > 0 && reader_->position() != inputPosition_) {
        if (auto sought = reader_->seek(inputPosition_); !sought)
            return sought.error();
    }
    float* target = input_.data();
    if (fileChannels_ != streamChannels_) {
        fileBuffer_.resize(static_cast<std::size_t>(frames * fileChannels_));
        target = fileBuffer_.data();
    }
    while (filled < wanted) {
        auto read = reader_->read(target + static_cast<std::ptrdiff_t>(filled) * fileChannels_,
                                  wanted - filled);
        if (!read)
            return read.error();
        if (read.value() == 0)
            break; // shorter than it said: the rest is silence
        filled += read.value();
    }
    if (fileChannels_ != streamChannels_)
        downmixToStereo(fileBuffer_.data(), fileChannels_, input_.data(), filled);
    std::fill(input_.begin() + filled * streamChannels_, input_.end(), 0.0f);
    inputPosition_ += frames;
    return frames;
}

Result<void> PieceStream::pullResampled(int frames)
{
    resampled_.resize(static_cast<std::size_t>(frames * streamChannels_));
    int got = 0;
    while (got < frames) {
        float* out = resampled_.data() + static_cast<std::ptrdiff_t>(got) * streamChannels_;
        int produced = resampler_->convert(nullptr, 0, out, frames - got);
        if (produced == 0) {
            auto read = readInput(inputChunkFrames);
            if (!read)
                return read.error();
            produced = resampler_->convert(input_.data(), read.value(), out, frames - got);
        }
        got += produced;
    }
    return {};
}

void PieceStream::toStereo(const float* from, float* stereo, int frames) const
{
    if (streamChannels_ == graphChannels) {
        std::memcpy(stereo, from, static_cast<std::size_t>(frames * graphChannels) * sizeof(float));
        return;
    }
    for (int f = 0; f < frames; ++f) {
        stereo[2 * f] = from[f];
        stereo[2 * f + 1] = from[f];
    }
}

} // namespace tw
