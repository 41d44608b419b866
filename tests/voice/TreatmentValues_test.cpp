#include "voice/TreatmentValues.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace tw {
namespace {

using Bands = std::array<double, 10>;

// Ten bands are taken as they are; any other list length falls back on the older three fields,
// which land on the 125 Hz, 1 kHz and 8 kHz bands. A preset alone treats nothing; any flag or
// non-zero gain does, the older fields even beside a full list that hides them from the bands.
TEST(TreatmentValues, bandGainsAndWhetherTheTreatmentDoesAnything)
{
    const struct {
        std::function<void(VoiceTreatment&)> set;
        Bands bands;
        bool enabled;
    } cases[] = {
        {[](VoiceTreatment&) {}, {}, false},
        {[](VoiceTreatment& t) { t.preset = Preset::femaleRadio; }, {}, false},
        {[](VoiceTreatment& t) { t.enhance = true; }, {}, true},
        {[](VoiceTreatment& t) { t.reduceNoise = true; }, {}, true},
        {[](VoiceTreatment& t) { t.level = true; }, {}, true},
        {[](VoiceTreatment& t) { t.bass = -0.5; }, {0, 0, -0.5}, true},
        {[](VoiceTreatment& t) { t.mid = 2.0; }, {0, 0, 0, 0, 0, 2.0}, true},
        {[](VoiceTreatment& t) { t.treble = 0.1; }, {0, 0, 0, 0, 0, 0, 0, 0, 0.1}, true},
        {[](VoiceTreatment& t) {
             t.eqBands = std::vector<double>{1, -2, 3, -4, 5, -6, 7, -8, 9, -10};
             t.bass = 6.0;
         },
         {1, -2, 3, -4, 5, -6, 7, -8, 9, -10},
         true},
        {[](VoiceTreatment& t) { t.eqBands = std::vector<double>(10, 0.0); }, {}, false},
        {[](VoiceTreatment& t) {
             t.eqBands = std::vector<double>(10, 0.0);
             t.mid = 1.0;
         },
         {},
         true},
        {[](VoiceTreatment& t) {
             t.eqBands = std::vector<double>(11, 7.0);
             t.bass = 3.0;
             t.mid = -1.5;
             t.treble = 4.0;
         },
         {0, 0, 3, 0, 0, -1.5, 0, 0, 4, 0},
         true},
    };
    int index = 0;
    for (const auto& c : cases) {
        VoiceTreatment treatment;
        c.set(treatment);
        EXPECT_EQ(bandGains(treatment), c.bands) << "case " << index;
        EXPECT_EQ(enabled(treatment), c.enabled) << "case " << index++;
    }
}

} // namespace
} // namespace tw
