#include "audio/Fft.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>

namespace tw {
namespace {

// Twice for each length: a second transform reuses the same buffers.
TEST(Fft, matchesADirectUnnormalisedDftForSeveralLengthsAgainAndAgain)
{
    std::mt19937 random(17);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    EXPECT_FALSE(Fft::create(0).ok());
    EXPECT_FALSE(Fft::create(-8).ok());
    for (int size : {8, 64, 1024}) {
        SCOPED_TRACE(size);
        auto created = Fft::create(size);
        ASSERT_TRUE(created.ok()) << created.error().description;
        Fft& fft = *created.value();
        ASSERT_EQ(fft.size(), size);
        std::vector<std::complex<double>> x(size);
        for (int round = 0; round < 2; ++round) {
            for (int n = 0; n < size; ++n) {
                fft.input()[n] = {value(random), value(random)};
                x[n] = {fft.input()[n].re, fft.input()[n].im};
            }
            fft.forward();
            for (int k = 0; k < size; ++k) {
                std::complex<double> expected = 0;
                for (int n = 0; n < size; ++n)
                    expected += x[n] * std::polar(1.0, -2.0 * M_PI * double(k) * n / size);
                ASSERT_NEAR(fft.output()[k].re, expected.real(), 1e-4 * size) << "bin " << k;
                ASSERT_NEAR(fft.output()[k].im, expected.imag(), 1e-4 * size) << "bin " << k;
            }
        }
    }
}

} // namespace
} // namespace tw
