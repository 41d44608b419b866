#include "voice/Biquad.hpp"

#include "ToneResponse.hpp"

#include <gtest/gtest.h>

namespace tw {

using test::gainOf;

TEST(Biquad, aBellReachesItsGainAtItsCentreOnlyAndTheHighPassCutsRumbleButNotSpeech)
{
    for (double rate : {22050.0, 44100.0, 48000.0, 96000.0}) {
        for (double frequency : {31.5, 130.0, 1000.0, 4000.0}) {
            for (double gainDb : {-12.0, -2.0, 0.0, 1.5, 12.0}) {
                SCOPED_TRACE(::testing::Message()
                             << rate << " Hz rate, " << frequency << " Hz, " << gainDb << " dB");
                Biquad section = Biquad::peaking(frequency, 1.5, gainDb, rate);
                EXPECT_NEAR(gainOf(section, frequency, rate), gainDb, 0.1);
                // Four octaves away the bell is nearly flat.
                double far = frequency >= 1000.0 ? frequency / 16.0 : frequency * 16.0;
                EXPECT_NEAR(gainOf(section, far, rate), 0.0, 0.1 * std::abs(gainDb) + 0.05);
            }
        }
    }
    // The high-pass is 3 dB down at its corner, passes speech and cuts rumble.
    for (double rate : {44100.0, 48000.0}) {
        for (double corner : {70.0, 85.0}) {
            EXPECT_NEAR(gainOf(Biquad::highPass(corner, 1.414, rate), corner, rate), -3.0, 0.1);
            EXPECT_NEAR(gainOf(Biquad::highPass(corner, 1.414, rate), 1000.0, rate), 0.0, 0.1);
            // Second order: 12 dB per octave, so two octaves down is about −24 dB.
            EXPECT_LT(gainOf(Biquad::highPass(corner, 1.414, rate), corner / 4.0, rate), -20.0);
        }
    }
}

} // namespace tw
