#include "audio/Resampler.hpp"

#include "audio/FfmpegError.hpp"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <numeric>
#include <string>

namespace tw {

namespace {

// Taps of the windowed-sinc filter at ratio 1 (Kaiser window, beta 9: libswresample's defaults
// otherwise). 32 keeps images below -90 dB for speech and music at a few percent of a core.
constexpr int filterSize = 32;

Error resamplerError(int status, int inputRate, int outputRate)
{
    return Error{"Audio", 8,
                 "No se pudo convertir el audio de " + std::to_string(inputRate) + " Hz a " +
                     std::to_string(outputRate) + " Hz: " + ffmpegDescription(status)};
}

} // namespace

Result<std::unique_ptr<Resampler>> Resampler::create(int inputRate, int outputRate, int channels)
{
    std::unique_ptr<Resampler> resampler(new Resampler());
    resampler->inputRate_ = inputRate;
    resampler->outputRate_ = outputRate;
    resampler->channels_ = channels;
    const std::int64_t common = std::gcd(inputRate, outputRate);
    resampler->inputPeriod_ = inputRate / common;
    resampler->outputPeriod_ = outputRate / common;

    AVChannelLayout layout;
    av_channel_layout_default(&layout, channels);
    int status = swr_alloc_set_opts2(&resampler->context_, &layout, AV_SAMPLE_FMT_FLT, outputRate,
                                     &layout, AV_SAMPLE_FMT_FLT, inputRate, 0, nullptr);
    av_channel_layout_uninit(&layout);
    if (status < 0)
        return resamplerError(status, inputRate, outputRate);
    av_opt_set_int(resampler->context_, "filter_size", filterSize, 0);
    // Phases exactly at the rational positions: the grid promised in the header.
    av_opt_set_int(resampler->context_, "exact_rational", 1, 0);
    av_opt_set_int(resampler->context_, "linear_interp", 0, 0);
    if (auto started = resampler->restart(); !started)
        return started.error();
    return resampler;
}

Resampler::~Resampler()
{
    swr_free(&context_);
}

std::int64_t Resampler::historyFrames() const
{
    // The filter spans filterSize input frames per side when upsampling and widens by the
    // ratio when it also low-passes for downsampling; the mirrored start of a stream reaches
    // about half of that. Four times is a wide margin for a few hundred extra frames.
    const std::int64_t widening = (inputRate_ + outputRate_ - 1) / outputRate_;
    return 4 * filterSize * std::max<std::int64_t>(1, widening);
}

Result<void> Resampler::restart()
{
    swr_close(context_);
    if (int status = swr_init(context_); status < 0)
        return resamplerError(status, inputRate_, outputRate_);
    return {};
}

int Resampler::convert(const float* input, int inputFrames, float* out, int outputCapacity)
{
    // A non-null input with 0 frames drains what is buffered; a null one would flush the end
    // of the stream, which a player never wants.
    static const float nothing = 0.0f;
    const auto* in = reinterpret_cast<const std::uint8_t*>(input ? input : &nothing);
    auto* to = reinterpret_cast<std::uint8_t*>(out);
    const int produced = swr_convert(context_, &to, outputCapacity, &in, inputFrames);
    return produced < 0 ? 0 : produced;
}

} // namespace tw
