#include "voice/TreatmentValues.hpp"

#include <gtest/gtest.h>

namespace tw {

// Ten bands are taken as they are; any other list length falls back on the older three fields,
// which land on the 125 Hz, 1 kHz and 8 kHz bands. A preset alone treats nothing; any flag or
// non-zero gain does, the older fields even beside a full list that hides them from the bands.
TEST(TreatmentValues, bandGainsAndWhetherTheTreatmentDoesAnything)
{
    const struct {
        VoiceTreatment treatment;
        std::array<double, 10> bands;
        bool enabled;
    } cases[] = {
        {{}, {}, false},
        {{.preset = Preset::femaleRadio}, {}, false},
        {{.enhance = true}, {}, true},
        {{.reduceNoise = true}, {}, true},
        {{.level = true}, {}, true},
        {{.bass = -0.5}, {0, 0, -0.5}, true},
        {{.mid = 2.0}, {0, 0, 0, 0, 0, 2.0}, true},
        {{.treble = 0.1}, {0, 0, 0, 0, 0, 0, 0, 0, 0.1}, true},
        {{.bass = 6.0, .eqBands = std::vector<double>{1, -2, 3, -4, 5, -6, 7, -8, 9, -10}},
         {1, -2, 3, -4, 5, -6, 7, -8, 9, -10},
         true},
        {{.eqBands = std::vector<double>(10, 0.0)}, {}, false},
        {{.mid = 1.0, .eqBands = std::vector<double>(10, 0.0)}, {}, true},
        {{.bass = 3.0, .mid = -1.5, .treble = 4.0, .eqBands = std::vector<double>(11, 7.0)},
         {0, 0, 3, 0, 0, -1.5, 0, 0, 4, 0},
         true},
    };
    int index = 0;
    for (const auto& c : cases) {
        EXPECT_EQ(bandGains(c.treatment), c.bands) << "case " << index;
        EXPECT_EQ(enabled(c.treatment), c.enabled) << "case " << index++;
    }
}

} // namespace tw
