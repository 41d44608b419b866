#include "audio/Fft.hpp"

#include "audio/AudioFileReader.hpp"
#include "audio/FfmpegError.hpp"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/mem.h>
#include <libavutil/tx.h>
}

#include <cstring>

namespace tw {

static_assert(sizeof(Fft::Complex) == sizeof(AVComplexFloat));

Result<std::unique_ptr<Fft>> Fft::create(int size)
{
    std::unique_ptr<Fft> fft(new Fft);
    fft->size_ = size;
    const float scale = 1.0f; // unnormalised
    av_tx_fn function = nullptr;
    const int status =
        size > 0 ? av_tx_init(&fft->context_, &function, AV_TX_FLOAT_FFT, 0, size, &scale, 0)
                 : AVERROR(EINVAL);
    if (status < 0) {
        return Error{"Audio", AudioFileError::noAudio,
                     "No se pudo preparar la transformada: " + ffmpegDescription(status)};
    }
    fft->transform_ = function;
    const std::size_t bytes = sizeof(Complex) * static_cast<std::size_t>(size);
    fft->input_ = static_cast<Complex*>(av_mallocz(bytes));
    fft->output_ = static_cast<Complex*>(av_mallocz(bytes));
    if (!fft->input_ || !fft->output_)
        return Error{"Audio", AudioFileError::noAudio, "No hay memoria para la transformada."};
    return fft;
}

Fft::~Fft()
{
    av_tx_uninit(&context_);
    av_free(input_);
    av_free(output_);
}

void Fft::forward()
{
    // The stride is in bytes: one complex value per element.
    transform_(context_, output_, input_, sizeof(Complex));
}

} // namespace tw
