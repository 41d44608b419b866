#include "voice/TreatmentValues.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

TEST(TreatmentValues, defaultTreatmentHasFlatBandsAndIsNotEnabled)
{
    VoiceTreatment treatment;
    EXPECT_EQ(bandGains(treatment), (std::array<double, 10>{}));
    EXPECT_FALSE(enabled(treatment));
    for (Preset preset : {Preset::radio, Preset::femalePodcast, Preset::femaleRadio}) {
        treatment.preset = preset;
        EXPECT_FALSE(enabled(treatment)) << "a preset alone changes nothing";
    }
}

TEST(TreatmentValues, tenBandsAreTakenAsTheyAre)
{
    VoiceTreatment treatment;
    treatment.eqBands = std::vector<double>{1, -2, 3, -4, 5, -6, 7, -8, 9, -10};
    treatment.bass = 6.0; // ignored beside a full band list
    std::array<double, 10> expected{1, -2, 3, -4, 5, -6, 7, -8, 9, -10};
    EXPECT_EQ(bandGains(treatment), expected);
    EXPECT_TRUE(enabled(treatment));
}

TEST(TreatmentValues, olderThreeBandSettingLandsOnTheTenBandsAnyOtherListLengthIsIgnored)
{
    VoiceTreatment treatment;
    treatment.bass = 3.0;
    EXPECT_EQ(bandGains(treatment), (std::array<double, 10>{0, 0, 3, 0, 0, 0, 0, 0, 0, 0}));

    treatment.mid = -1.5;
    treatment.treble = 4.0;
    std::array<double, 10> mapped{0, 0, 3, 0, 0, -1.5, 0, 0, 4, 0};
    EXPECT_EQ(bandGains(treatment), mapped);

    for (std::size_t length : {0u, 1u, 9u, 11u}) {
        treatment.eqBands = std::vector<double>(length, 7.0);
        EXPECT_EQ(bandGains(treatment), mapped) << length << " entries";
    }
}

TEST(TreatmentValues, enabledByAnyFlagOrAnyNonZeroGainButNotByAbsentOrZeroOnes)
{
    auto with = [](auto change) {
        VoiceTreatment treatment;
        change(treatment);
        return enabled(treatment);
    };
    EXPECT_TRUE(with([](VoiceTreatment& t) { t.enhance = true; }));
    EXPECT_TRUE(with([](VoiceTreatment& t) { t.reduceNoise = true; }));
    EXPECT_TRUE(with([](VoiceTreatment& t) { t.level = true; }));
    EXPECT_FALSE(with([](VoiceTreatment& t) { t.level = false; }));
    EXPECT_TRUE(with([](VoiceTreatment& t) { t.bass = -0.5; }));
    EXPECT_TRUE(with([](VoiceTreatment& t) { t.mid = 2.0; }));
    EXPECT_TRUE(with([](VoiceTreatment& t) { t.treble = 0.1; }));
    EXPECT_FALSE(with([](VoiceTreatment& t) {
        t.bass = 0.0;
        t.mid = 0.0;
        t.treble = 0.0;
    }));
    EXPECT_FALSE(with([](VoiceTreatment& t) { t.eqBands = std::vector<double>(10, 0.0); }));
    EXPECT_TRUE(with([](VoiceTreatment& t) {
        t.eqBands = std::vector<double>(10, 0.0);
        (*t.eqBands)[9] = -3.0;
    }));
    // A nine-entry list does not count, but the three older fields still do.
    EXPECT_FALSE(with([](VoiceTreatment& t) { t.eqBands = std::vector<double>(9, 5.0); }));
    EXPECT_TRUE(with([](VoiceTreatment& t) {
        t.eqBands = std::vector<double>(9, 0.0);
        t.treble = 2.0;
    }));
    // A full band list hides the older fields from bandGains, yet they still enable.
    EXPECT_TRUE(with([](VoiceTreatment& t) {
        t.eqBands = std::vector<double>(10, 0.0);
        t.mid = 1.0;
    }));
}

} // namespace
} // namespace tw
