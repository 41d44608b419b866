// A complex forward FFT of one fixed length on libavutil's av_tx. Unnormalised:
// X[k] = sum over n of x[n] * exp(-2*pi*i*k*n/N). The input and output buffers belong to the
// transform (aligned, made once), so transforming allocates nothing.
#pragma once

#include "base/Result.hpp"

#include <memory>

struct AVTXContext;

namespace tw {

class Fft {
public:
    struct Complex {
        float re;
        float im;
    };

    // size: any length av_tx supports (powers of two are fastest).
    static Result<std::unique_ptr<Fft>> create(int size);
    ~Fft();
    Fft(const Fft&) = delete;
    Fft& operator=(const Fft&) = delete;

    int size() const { return size_; }
    Complex* input() { return input_; }
    const Complex* output() const { return output_; }
    // Transforms input() into output().
    void forward();

private:
    Fft() = default;
    int size_ = 0;
    AVTXContext* context_ = nullptr;
    void (*transform_)(AVTXContext*, void*, void*, std::ptrdiff_t) = nullptr;
    Complex* input_ = nullptr;
    Complex* output_ = nullptr;
};

} // namespace tw
