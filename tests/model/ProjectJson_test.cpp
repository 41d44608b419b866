#include "model/ProjectJson.hpp"

#include "model/TestClips.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>

namespace tw {

namespace {

const char* const idA = "0F8FAD5B-D9CB-469F-A165-70867728950E";
const char* const newProjectText = R"({"version":1,"segments":[],"recordingPending":false,)"
                                   R"("voiceVolume":1,"musicVolume":0.35,"fadeIn":5,"fadeOut":10})";

std::vector<std::string> keysOf(const nlohmann::ordered_json& object)
{
    std::vector<std::string> keys;
    for (const auto& item : object.items())
        keys.push_back(item.key());
    return keys;
}

// A project with every optional field present.
PodcastProject fullProject()
{
    PodcastProject p;
    p.voiceFile = "Media/voice-1.caf";
    p.musicFile = "Media/music-2.mp3";
    Segment s = test::clip(1.5, 2.25, 0.125, "Media/paste-3.m4a");
    s.gain = 0.0f;
    p.segments = {s, test::legacyClip(4)};
    p.recordingPending = true;
    p.voiceVolume = 0.8f;
    p.musicVolume = 0.2f;
    p.fadeIn = 3;
    p.fadeOut = 7.5;
    VoiceTreatment t;
    t.enhance = true;
    t.reduceNoise = true;
    t.level = false;
    t.bass = 1;
    t.mid = -2.5;
    t.treble = 3;
    t.eqBands = std::vector<double>{0, 1, 2, 3, 4, 5, 6, -7, 8, 9.5};
    t.preset = Preset::femaleRadio;
    p.treatment = t;
    p.playhead = 12.5;
    p.timelineZoom = 80;
    p.pendingVoiceFile = "Media/voice-4.caf";
    p.pendingStart = 9;
    p.musicSourceStart = 10;
    p.musicLength = 60;
    p.musicOffset = -3;
    p.fadeInStart = 0;
    p.fadeInEnd = 4;
    p.fadeOutStart = 50;
    p.fadeOutEnd = 60;
    p.loudnessTarget = LoudnessTarget::broadcast;
    return p;
}

std::string withMember(const std::string& member)
{
    std::string text = newProjectText;
    text.insert(text.size() - 1, "," + member);
    return text;
}

std::string withSegment(const std::string& segment)
{
    std::string text = newProjectText;
    std::string empty = R"("segments":[])";
    text.replace(text.find(empty), empty.size(), R"("segments":[)" + segment + "]");
    return text;
}

std::string decodeProblem(std::string_view text)
{
    Result<PodcastProject> result = decode(text);
    if (result.ok())
        return "";
    EXPECT_EQ(result.error().domain, "Project");
    EXPECT_EQ(result.error().code, projectFormatErrorCode);
    return result.error().description;
}

PodcastProject roundTrip(const PodcastProject& project)
{
    Result<std::string> text = encode(project);
    EXPECT_TRUE(text.ok()) << (text.ok() ? "" : text.error().description);
    Result<PodcastProject> back = decode(text.value());
    EXPECT_TRUE(back.ok()) << (back.ok() ? "" : back.error().description);
    return back.ok() ? back.value() : PodcastProject{};
}

} // namespace

// Writing ---------------------------------------------------------------------------------------

TEST(ProjectJson, newProjectEncodesExactlyTheSevenDefaultKeys)
{
    Result<std::string> text = encode(PodcastProject{});
    ASSERT_TRUE(text.ok());
    EXPECT_EQ(text.value(), newProjectText);
    // Integral doubles are written without a fraction and still read back as the same values.
    Result<PodcastProject> back = decode(text.value());
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(back.value(), PodcastProject{});
    EXPECT_EQ(back.value().voiceVolume, 1.0f);
    EXPECT_EQ(back.value().fadeIn, 5.0);
    EXPECT_EQ(back.value().fadeOut, 10.0);
}

TEST(ProjectJson, keysFollowDeclarationOrderAndAbsentOptionalsAreLeftOut)
{
    Result<std::string> text = encode(fullProject());
    ASSERT_TRUE(text.ok());
    auto json = nlohmann::ordered_json::parse(text.value());
    EXPECT_EQ(
        keysOf(json),
        (std::vector<std::string>{
            "version",     "voiceFile",     "musicFile",        "segments",     "recordingPending",
            "voiceVolume", "musicVolume",   "fadeIn",           "fadeOut",      "treatment",
            "playhead",    "timelineZoom",  "pendingVoiceFile", "pendingStart", "musicSourceStart",
            "musicLength", "musicOffset",   "fadeInStart",      "fadeInEnd",    "fadeOutStart",
            "fadeOutEnd",  "loudnessTarget"}));
    EXPECT_EQ(
        keysOf(json["segments"][0]),
        (std::vector<std::string>{"id", "start", "duration", "file", "timelineStart", "gain"}));
    EXPECT_EQ(keysOf(json["segments"][1]), (std::vector<std::string>{"id", "start", "duration"}));
    EXPECT_EQ(keysOf(json["treatment"]),
              (std::vector<std::string>{"enhance", "reduceNoise", "level", "bass", "mid", "treble",
                                        "eqBands", "preset"}));
    EXPECT_EQ(json["treatment"]["preset"], "Radio femenina");
    EXPECT_EQ(text.value().find("null"), std::string::npos);
    // Compact: no line breaks, no space after separators.
    EXPECT_EQ(text.value().find_first_of("\n\t"), std::string::npos);
    EXPECT_EQ(text.value().find(": "), std::string::npos);
    EXPECT_EQ(text.value().find(", "), std::string::npos);
}

TEST(ProjectJson, thirtyTwoBitFieldsUseTheShortestFloatText)
{
    PodcastProject p;
    p.voiceVolume = 0.1f;
    p.musicVolume = 1.0f / 3.0f;
    Segment s = test::clip(0.1, 0.2);
    s.gain = 0.7f;
    p.segments = {s};
    Result<std::string> text = encode(p);
    ASSERT_TRUE(text.ok());
    EXPECT_NE(text.value().find(R"("voiceVolume":0.1,)"), std::string::npos) << text.value();
    EXPECT_NE(text.value().find(R"("musicVolume":0.33333334,)"), std::string::npos);
    EXPECT_NE(text.value().find(R"("gain":0.7})"), std::string::npos);
    // Doubles are written in the shortest text of the double.
    EXPECT_NE(text.value().find(R"("timelineStart":0.1,)"), std::string::npos);
    EXPECT_NE(text.value().find(R"("duration":0.2,)"), std::string::npos);
    EXPECT_EQ(roundTrip(p), p);
}

TEST(ProjectJson, identifiersAreWrittenUpperCaseAndReadInAnyCase)
{
    std::string lower = "0f8fad5b-d9cb-469f-a165-70867728950e";
    Result<PodcastProject> p =
        decode(withSegment(R"({"id":")" + lower + R"(","start":0,"duration":1})"));
    ASSERT_TRUE(p.ok());
    EXPECT_EQ(p.value().segments[0].id.text(), idA);
    Result<std::string> text = encode(p.value());
    ASSERT_TRUE(text.ok());
    EXPECT_NE(text.value().find(idA), std::string::npos);
    EXPECT_EQ(text.value().find(lower), std::string::npos);
}

TEST(ProjectJson, textIsEscapedOnlyWhereJsonNeedsIt)
{
    PodcastProject p;
    p.voiceFile = "Media/caf\xC3\xA9 \"1\"\\x\n\t\x01.caf";
    Result<std::string> text = encode(p);
    ASSERT_TRUE(text.ok());
    EXPECT_NE(text.value().find(R"("voiceFile":"Media/caf)"
                                "\xC3\xA9"
                                R"( \"1\"\\x\n\t\u0001.caf")"),
              std::string::npos)
        << text.value();
    EXPECT_EQ(roundTrip(p), p);
}

TEST(ProjectJson, encodeRefusesNumbersThatAreNotFinite)
{
    auto problem = [](const PodcastProject& p) {
        Result<std::string> text = encode(p);
        EXPECT_FALSE(text.ok());
        if (text.ok())
            return std::string();
        EXPECT_EQ(text.error().domain, "Project");
        return text.error().description;
    };
    PodcastProject p;
    p.voiceVolume = std::numeric_limits<float>::quiet_NaN();
    EXPECT_NE(problem(p).find("voiceVolume"), std::string::npos);

    p = PodcastProject{};
    p.segments = {test::clip(0, 1), test::clip(1, std::numeric_limits<double>::infinity())};
    EXPECT_NE(problem(p).find("segments[1].duration"), std::string::npos);

    p = PodcastProject{};
    p.fadeOutEnd = -std::numeric_limits<double>::infinity();
    EXPECT_NE(problem(p).find("fadeOutEnd"), std::string::npos);

    p = PodcastProject{};
    p.treatment = VoiceTreatment{};
    p.treatment->eqBands = std::vector<double>{0, std::nan("")};
    EXPECT_NE(problem(p).find("treatment.eqBands"), std::string::npos);

    p = PodcastProject{};
    Segment s = test::clip(0, 1);
    s.gain = std::numeric_limits<float>::infinity();
    p.segments = {s};
    EXPECT_NE(problem(p).find("segments[0].gain"), std::string::npos);
}

TEST(ProjectJson, encodeRefusesTextThatIsNotUtf8)
{
    PodcastProject p;
    p.musicFile = "Media/\xFF.mp3";
    Result<std::string> text = encode(p);
    ASSERT_FALSE(text.ok());
    EXPECT_NE(text.error().description.find("musicFile"), std::string::npos);
}

// Reading ---------------------------------------------------------------------------------------

TEST(ProjectJson, roundTripKeepsEveryFieldAbsentOptionalsAndSegmentOrder)
{
    PodcastProject full = fullProject();
    EXPECT_EQ(roundTrip(full), full);

    PodcastProject sparse;
    sparse.segments = {test::clip(9, 1), test::legacyClip(2), test::clip(0, 1, 0, std::nullopt)};
    sparse.treatment = VoiceTreatment{};
    PodcastProject back = roundTrip(sparse);
    EXPECT_EQ(back, sparse);
    ASSERT_EQ(back.segments.size(), 3u);
    EXPECT_EQ(back.segments[0].timelineStart, 9.0);
    EXPECT_EQ(back.segments[1].timelineStart, std::nullopt);
    EXPECT_EQ(back.segments[1].file, std::nullopt);
    EXPECT_EQ(back.segments[2].file, std::nullopt);
    EXPECT_EQ(back.treatment->level, std::nullopt);
    EXPECT_EQ(back.treatment->eqBands, std::nullopt);
}

TEST(ProjectJson, extremeNumbersSurviveTheRoundTrip)
{
    PodcastProject p;
    p.segments = {test::clip(-0.0, std::numeric_limits<double>::max(),
                             std::numeric_limits<double>::denorm_min()),
                  test::clip(1e-300, 0.1 + 0.2, 123456789.123456789)};
    p.segments[1].gain = std::numeric_limits<float>::denorm_min();
    p.voiceVolume = std::numeric_limits<float>::max();
    p.musicVolume = std::nextafter(0.35f, 1.0f);
    p.fadeIn = -1e300;
    p.playhead = 1e21;
    EXPECT_EQ(roundTrip(p), p);
    EXPECT_TRUE(std::signbit(*roundTrip(p).segments[0].timelineStart));
}

TEST(ProjectJson, legacyDocumentReadsWithoutPositionsAndWithoutNormalising)
{
    std::string text = R"({"version":1,"voiceFile":"voice.caf","segments":[)"
                       R"({"id":"0F8FAD5B-D9CB-469F-A165-70867728950E","start":0,"duration":4},)"
                       R"({"id":"7C9E6679-7425-40DE-944B-E07FC1F90AE7","start":4,"duration":2}],)"
                       R"("recordingPending":false,"voiceVolume":1,"musicVolume":0.35,)"
                       R"("fadeIn":5,"fadeOut":10})";
    Result<PodcastProject> p = decode(text);
    ASSERT_TRUE(p.ok()) << p.error().description;
    ASSERT_EQ(p.value().segments.size(), 2u);
    EXPECT_EQ(p.value().segments[1].id.text(), "7C9E6679-7425-40DE-944B-E07FC1F90AE7");
    EXPECT_EQ(p.value().segments[1].timelineStart, std::nullopt);
    EXPECT_EQ(p.value().segments[1].file, std::nullopt);
    EXPECT_EQ(p.value().fadeInEnd, std::nullopt);
    EXPECT_EQ(p.value().voiceFile, "voice.caf");
}

TEST(ProjectJson, escapedSlashesAndUnicodeEscapesRead)
{
    Result<PodcastProject> p =
        decode(withMember(R"("voiceFile":"Media\/voice-1.caf","musicFile":"Media/caf\u00e9.mp3")"));
    ASSERT_TRUE(p.ok()) << p.error().description;
    EXPECT_EQ(p.value().voiceFile, "Media/voice-1.caf");
    EXPECT_EQ(p.value().musicFile, "Media/caf\xC3\xA9.mp3");
}

TEST(ProjectJson, nullOptionalsReadAsAbsentAndUnknownKeysAreIgnored)
{
    Result<PodcastProject> p = decode(
        withSegment(std::string(R"({"id":")") + idA +
                    R"(","start":0,"duration":1,"file":null,"timelineStart":null,"gain":null,)"
                    R"("colour":{"r":[1,2,{"deep":null}]}})"));
    ASSERT_TRUE(p.ok()) << p.error().description;
    EXPECT_EQ(p.value().segments[0].gain, std::nullopt);
    EXPECT_EQ(p.value().segments[0].file, std::nullopt);
    EXPECT_EQ(p.value().segments[0].timelineStart, std::nullopt);

    p = decode(withMember(R"("voiceFile":null,"treatment":null,"playhead":null,"future":true,)"
                          R"("fadeOutEnd":null,"extra":[[],{}])"));
    ASSERT_TRUE(p.ok()) << p.error().description;
    EXPECT_EQ(p.value(), PodcastProject{});

    p = decode(withMember(R"("treatment":{"enhance":true,"reduceNoise":false,"level":null,)"
                          R"("eqBands":null,"bass":null,"preset":"Podcast femenino","more":1})"));
    ASSERT_TRUE(p.ok()) << p.error().description;
    EXPECT_EQ(p.value().treatment->level, std::nullopt);
    EXPECT_EQ(p.value().treatment->eqBands, std::nullopt);
    EXPECT_EQ(p.value().treatment->preset, Preset::femalePodcast);
}

TEST(ProjectJson, keysMayComeInAnyOrderAndWhitespaceIsFree)
{
    std::string text =
        "\xEF\xBB\xBF { \"fadeOut\" : 10 ,\n \"fadeIn\" : 5, \"musicVolume\": 0.35,\r\n"
        "\t\"voiceVolume\":1, \"recordingPending\" : false, \"segments\" : [ ] ,"
        " \"version\" : 1 } \n";
    Result<PodcastProject> p = decode(text);
    ASSERT_TRUE(p.ok()) << p.error().description;
    EXPECT_EQ(p.value(), PodcastProject{});
}

TEST(ProjectJson, missingRequiredKeysAreRefusedNamingTheKey)
{
    for (std::string key : {"version", "segments", "recordingPending", "voiceVolume", "musicVolume",
                            "fadeIn", "fadeOut"}) {
        auto json = nlohmann::ordered_json::parse(newProjectText);
        json.erase(key);
        std::string problem = decodeProblem(json.dump());
        EXPECT_NE(problem.find('"' + key + '"'), std::string::npos) << key << ": " << problem;
    }
    std::string segment = std::string(R"({"id":")") + idA + R"(","start":0,"duration":1})";
    for (std::string key : {"id", "start", "duration"}) {
        auto json = nlohmann::ordered_json::parse(segment);
        json.erase(key);
        std::string problem = decodeProblem(withSegment(json.dump()));
        EXPECT_NE(problem.find("segments[0]." + key), std::string::npos) << problem;
    }
    std::string treatment = R"({"enhance":true,"reduceNoise":false,"preset":"Radio masculina"})";
    for (std::string key : {"enhance", "reduceNoise", "preset"}) {
        auto json = nlohmann::ordered_json::parse(treatment);
        json.erase(key);
        std::string problem = decodeProblem(withMember(R"("treatment":)" + json.dump()));
        EXPECT_NE(problem.find("treatment." + key), std::string::npos) << problem;
    }
}

TEST(ProjectJson, valuesOfTheWrongTypeAreRefused)
{
    auto replaced = [](const std::string& key, const std::string& value) {
        auto json = nlohmann::ordered_json::parse(newProjectText);
        json[key] = nlohmann::ordered_json::parse(value);
        return json.dump();
    };
    const std::pair<const char*, const char*> cases[] = {
        {"version", R"("1")"},        {"version", "1.5"},         {"version", "true"},
        {"version", "null"},          {"segments", "{}"},         {"segments", "null"},
        {"segments", "[1]"},          {"segments", R"(["x"])"},   {"recordingPending", "0"},
        {"recordingPending", "null"}, {"voiceVolume", R"("1")"},  {"musicVolume", "[0.35]"},
        {"fadeIn", "null"},           {"fadeOut", "false"},       {"voiceFile", "3"},
        {"musicFile", "{}"},          {"treatment", "[]"},        {"treatment", "true"},
        {"playhead", R"("3")"},       {"pendingVoiceFile", "[]"}, {"musicOffset", "true"},
        {"fadeOutEnd", "{}"},
    };
    for (const auto& [key, value] : cases) {
        std::string problem = decodeProblem(replaced(key, value));
        EXPECT_NE(problem, "") << key << " = " << value;
        if (std::string(key) != "segments" || value[0] != '[') {
            EXPECT_NE(problem.find(key), std::string::npos) << problem;
        }
    }
    std::string segmentCases[] = {
        R"({"id":7,"start":0,"duration":1})",
        R"({"id":"0F8FAD5B-D9CB-469F-A165-70867728950E","start":"0","duration":1})",
        R"({"id":"0F8FAD5B-D9CB-469F-A165-70867728950E","start":0,"duration":1,"file":1})",
        R"({"id":"0F8FAD5B-D9CB-469F-A165-70867728950E","start":0,"duration":1,"gain":"1"})",
        R"({"id":"0F8FAD5B-D9CB-469F-A165-70867728950E","start":0,"duration":null})",
    };
    for (const std::string& segment : segmentCases)
        EXPECT_NE(decodeProblem(withSegment(segment)).find("segments[0]."), std::string::npos)
            << segment;
    std::string treatmentCases[] = {
        R"({"enhance":1,"reduceNoise":false,"preset":"Radio masculina"})",
        R"({"enhance":true,"reduceNoise":false,"level":"yes","preset":"Radio masculina"})",
        R"({"enhance":true,"reduceNoise":false,"eqBands":[1,"2"],"preset":"Radio masculina"})",
        R"({"enhance":true,"reduceNoise":false,"eqBands":[1,null],"preset":"Radio masculina"})",
        R"({"enhance":true,"reduceNoise":false,"eqBands":3,"preset":"Radio masculina"})",
        R"({"enhance":true,"reduceNoise":false,"preset":3})",
    };
    for (const std::string& treatment : treatmentCases)
        EXPECT_NE(decodeProblem(withMember(R"("treatment":)" + treatment)).find("treatment."),
                  std::string::npos)
            << treatment;
}

TEST(ProjectJson, integralNumbersAreAcceptedForTheVersionAndTooLargeOnesRefusedOnOpen)
{
    auto json = nlohmann::ordered_json::parse(newProjectText);
    std::string text = json.dump();
    text.replace(text.find("\"version\":1"), 11, "\"version\":1.0");
    Result<PodcastProject> p = decode(text);
    ASSERT_TRUE(p.ok()) << p.error().description;
    EXPECT_EQ(p.value().version, 1);
    // A version beyond what the reader holds is one it cannot open, not a damaged document.
    for (const char* version : {"4294967297", "1e30"}) {
        text = json.dump();
        text.replace(text.find("\"version\":1"), 11, std::string("\"version\":") + version);
        p = decode(text);
        ASSERT_TRUE(p.ok()) << p.error().description;
        EXPECT_EQ(validateForOpen(p.value()).error().description,
                  "Versión de proyecto no compatible.");
    }
}

TEST(ProjectJson, identifiersThatAreNoUuidAreRefused)
{
    for (std::string id :
         {"", "0F8FAD5B-D9CB-469F-A165-70867728950", "0F8FAD5BD9CB469FA16570867728950E",
          "0F8FAD5B-D9CB-469F-A165-70867728950G", "{0F8FAD5B-D9CB-469F-A165-70867728950E}",
          "0F8FAD5B-D9CB-469F-A165-70867728950E ", "0F8FAD5B_D9CB_469F_A165_70867728950E"}) {
        std::string problem =
            decodeProblem(withSegment(R"({"id":")" + id + R"(","start":0,"duration":1})"));
        EXPECT_NE(problem.find("UUID"), std::string::npos) << id << ": " << problem;
        EXPECT_NE(problem.find("segments[0].id"), std::string::npos) << problem;
    }
}

TEST(ProjectJson, unknownPresetMakesTheWholeDocumentUnreadable)
{
    for (std::string preset : {"Podcast", "podcast", "Podcast masculino ", "", "Radio femenino"}) {
        std::string problem = decodeProblem(withMember(
            R"("treatment":{"enhance":false,"reduceNoise":false,"preset":")" + preset + "\"}"));
        EXPECT_NE(problem.find("treatment.preset"), std::string::npos) << preset << ": " << problem;
    }
    for (Preset preset :
         {Preset::podcast, Preset::radio, Preset::femalePodcast, Preset::femaleRadio}) {
        PodcastProject p;
        p.treatment = VoiceTreatment{};
        p.treatment->preset = preset;
        EXPECT_EQ(roundTrip(p), p);
    }
}

TEST(ProjectJson, theLoudnessTargetIsOptionalAndAnUnknownOneIsRefused)
{
    for (const auto& [target, text] : {std::pair{LoudnessTarget::podcast, "podcast"},
                                       std::pair{LoudnessTarget::broadcast, "ebuR128"},
                                       std::pair{LoudnessTarget::none, "none"}}) {
        PodcastProject p;
        p.loudnessTarget = target;
        EXPECT_EQ(roundTrip(p), p);
        EXPECT_NE(encode(p).value().find(std::string("\"loudnessTarget\":\"") + text + "\""),
                  std::string::npos);
    }
    // A document from before the choice existed reads as it is: no target, the podcast norm.
    EXPECT_EQ(decode(newProjectText).value().loudnessTarget, std::nullopt);
    EXPECT_EQ(decode(withMember(R"("loudnessTarget":null)")).value().loudnessTarget, std::nullopt);
    for (std::string value : {R"("Podcast")", R"("")", "16"})
        EXPECT_NE(decodeProblem(withMember(R"("loudnessTarget":)" + value)).find("loudnessTarget"),
                  std::string::npos)
            << value;
}

TEST(ProjectJson, numbersThatAreNotFiniteOrDoNotFitAreRefused)
{
    auto replaced = [](const std::string& key, const std::string& value) {
        std::string text = newProjectText;
        std::size_t at = text.find("\"" + key + "\":") + key.size() + 3;
        std::size_t end = text.find_first_of(",}", at);
        return text.replace(at, end - at, value);
    };
    for (auto [key, value] : {std::pair{"fadeIn", "1e999"},
                              {"fadeOut", "-1e400"},
                              {"voiceVolume", "1e39"},
                              {"musicVolume", "-3.5e38"},
                              {"fadeIn", "NaN"},
                              {"fadeIn", "Infinity"},
                              {"fadeOut", "-Infinity"},
                              {"version", "1e999"}}) {
        std::string problem = decodeProblem(replaced(key, value));
        EXPECT_NE(problem, "") << key << " = " << value;
    }
    EXPECT_NE(decodeProblem(replaced("fadeIn", "1e999")).find("fadeIn"), std::string::npos);
    // Too small to represent is not an error: it reads as zero.
    Result<PodcastProject> p = decode(replaced("fadeIn", "1e-400"));
    ASSERT_TRUE(p.ok());
    EXPECT_EQ(p.value().fadeIn, 0.0);
}

TEST(ProjectJson, hostileInputIsRefusedQuicklyAndReadably)
{
    // Nesting far deeper than any document, inside a key that would otherwise be ignored.
    std::string deep =
        withMember(R"("future":)" + std::string(200'000, '[') + std::string(200'000, ']'));
    EXPECT_NE(decodeProblem(deep).find("64"), std::string::npos);
    std::string acceptable =
        withMember(R"("future":)" + std::string(60, '[') + std::string(60, ']'));
    EXPECT_EQ(decodeProblem(acceptable), "");

    std::string huge = withMember(R"("future":")" + std::string(65u << 20, 'x') + "\"");
    EXPECT_NE(decodeProblem(huge).find("64 MiB"), std::string::npos);
}

TEST(ProjectJson, textThatIsNoProjectIsRefusedReadably)
{
    for (std::string_view text :
         {std::string_view(""), std::string_view("not json"), std::string_view("[]"),
          std::string_view("null"), std::string_view("\"text\""),
          std::string_view(R"({"version":1,"segments":[)"),
          std::string_view(R"({"version":1,"segments":[],"recordingPending":false,)"
                           R"("voiceVolume":1,"musicVolume":0.35,"fadeIn":5,"fadeOut":10} x)"),
          std::string_view(R"({"version":1,"segments":[],"recordingPending":false,)"
                           R"("voiceVolume":1,"musicVolume":0.35,"fadeIn":5,"fadeOut":10,})"),
          std::string_view("{\"version\":1,\"voiceFile\":\"\xC3\x28\",\"segments\":[]}"),
          std::string_view("{\"version\":1\0}", 14)}) {
        std::string problem = decodeProblem(text);
        EXPECT_GT(problem.size(), 10u) << text;
    }
    EXPECT_NE(decodeProblem("not json").find("JSON"), std::string::npos);
}

TEST(ProjectJson, duplicateKeysKeepTheLastValue)
{
    Result<PodcastProject> p = decode(withMember(R"("fadeIn":7,"segments":[])"));
    ASSERT_TRUE(p.ok());
    EXPECT_EQ(p.value().fadeIn, 7.0);
}

// Validation before opening -----------------------------------------------------------------------

TEST(ProjectJson, versionOtherThanOneDecodesButIsRefusedOnOpen)
{
    std::string text = newProjectText;
    text.replace(text.find("\"version\":1"), 11, "\"version\":2");
    Result<PodcastProject> p = decode(text);
    ASSERT_TRUE(p.ok());
    EXPECT_EQ(p.value().version, 2);
    Result<void> check = validateForOpen(p.value());
    ASSERT_FALSE(check.ok());
    EXPECT_EQ(check.error(), (Error{"Project", 2, "Versión de proyecto no compatible."}));
}

TEST(ProjectJson, versionIsCheckedBeforeAnyPath)
{
    PodcastProject p;
    p.version = 0;
    p.musicFile = "/abs.mp3";
    ASSERT_FALSE(validateForOpen(p).ok());
    EXPECT_EQ(validateForOpen(p).error().code, 2);
}

TEST(ProjectJson, pathsThatLeaveTheFolderAreRefusedOnOpen)
{
    const Error invalid{"Project", 3, "Ruta de audio inválida."};
    auto withVoicePath = [](std::string path) {
        PodcastProject p;
        p.segments = {test::clip(0, 1, 0, "Media/voice-1.caf"), test::clip(1, 1, 0, path)};
        return p;
    };
    for (std::string bad : {"../voice.caf", "Media/../../voice.caf", "/home/me/voice.caf",
                            "Media/..", "..", "a/../b.caf", "Media//..//x.caf", "/"}) {
        Result<void> check = validateForOpen(withVoicePath(bad));
        ASSERT_FALSE(check.ok()) << bad;
        EXPECT_EQ(check.error(), invalid) << bad;
    }
    for (std::string good :
         {"Media//voice.caf", "./Media/voice.caf", "Media/a..b.caf", ".../voice.caf",
          "Media/./x.caf", ".", "..caf", "Media/...", "Media/x..", ""})
        EXPECT_TRUE(validateForOpen(withVoicePath(good)).ok()) << good;
}

TEST(ProjectJson, everyKindOfVoicePathAndTheMusicFileAreChecked)
{
    const Error invalid{"Project", 3, "Ruta de audio inválida."};
    PodcastProject p;
    p.segments = {test::clip(0, 1, 0, "Media/voice-1.caf")};
    EXPECT_TRUE(validateForOpen(p).ok());

    PodcastProject music = p;
    music.musicFile = "/Users/me/music.mp3";
    ASSERT_FALSE(validateForOpen(music).ok());
    EXPECT_EQ(validateForOpen(music).error(), invalid);

    PodcastProject pending = p;
    pending.pendingVoiceFile = "../take.caf";
    ASSERT_FALSE(validateForOpen(pending).ok());
    EXPECT_EQ(validateForOpen(pending).error(), invalid);

    // A legacy clip plays from voiceFile, which is checked too.
    PodcastProject legacy;
    legacy.voiceFile = "/voice.caf";
    legacy.segments = {test::legacyClip(3)};
    ASSERT_FALSE(validateForOpen(legacy).ok());
    EXPECT_EQ(validateForOpen(legacy).error(), invalid);

    PodcastProject fine = fullProject();
    EXPECT_TRUE(validateForOpen(fine).ok());
}

TEST(ProjectJson, timesBeyondADayAndVolumesBeyondSixteenAreRefusedOnOpenNamingTheNumber)
{
    const double day = 86400, volume = 16, decibels = 20 * std::log10(16.0);
    const struct {
        std::string path;
        double limit;
        std::function<void(PodcastProject&, double)> set;
    } cases[] = {
        {"voiceVolume", volume, [](PodcastProject& p, double v) { p.voiceVolume = float(v); }},
        {"segments[0].gain", volume,
         [](PodcastProject& p, double v) { p.segments[0].gain = float(v); }},
        {"fadeOut", day, [](PodcastProject& p, double v) { p.fadeOut = v; }},
        {"playhead", day, [](PodcastProject& p, double v) { p.playhead = v; }},
        {"pendingStart", day, [](PodcastProject& p, double v) { p.pendingStart = v; }},
        {"musicOffset", day, [](PodcastProject& p, double v) { p.musicOffset = v; }},
        {"segments[0].timelineStart", day,
         [](PodcastProject& p, double v) { p.segments[0].timelineStart = v; }},
        {"treatment.eqBands", decibels,
         [](PodcastProject& p, double v) { p.treatment->eqBands->at(7) = v; }},
    };
    for (const auto& c : cases) {
        PodcastProject p = fullProject();
        p.timelineZoom = 1e300; // the zoom is clamped when opened, never refused
        for (double fine : {c.limit, -c.limit}) {
            c.set(p, fine);
            EXPECT_TRUE(validateForOpen(p).ok()) << c.path << " = " << fine;
        }
        c.set(p, c.limit * 1.0001);
        EXPECT_FALSE(validateForOpen(p).ok()) << c.path;
        const double absurd = c.limit == day ? -1.5e308 : 3e38;
        c.set(p, absurd);
        const std::string text = c.limit == day ? "-1.5e+308" : "3e+38";
        EXPECT_EQ(validateForOpen(p).error(),
                  (Error{"Project", 0,
                         "El número de \"" + c.path + "\" está fuera de rango (" + text + ")."}));
    }
}

TEST(ProjectJson, takenLocationError)
{
    EXPECT_EQ(projectLocationTakenError(),
              (Error{"Project", 1, "Elige un nombre nuevo para evitar reemplazar otro proyecto."}));
}

// Properties ------------------------------------------------------------------------------------

namespace {

double randomDouble(std::mt19937& random)
{
    switch (std::uniform_int_distribution<int>(0, 5)(random)) {
    case 0:
        return std::uniform_real_distribution<double>(-1e6, 1e6)(random);
    case 1:
        return std::uniform_int_distribution<int>(-1000, 1000)(random) / 8.0;
    case 2:
        return std::ldexp(std::uniform_real_distribution<double>(0.5, 1)(random),
                          std::uniform_int_distribution<int>(-1074, 1023)(random));
    case 3:
        return std::uniform_real_distribution<double>(0, 1)(random);
    case 4:
        return -0.0;
    default:
        return std::uniform_int_distribution<int>(0, 3600)(random);
    }
}

float randomFloat(std::mt19937& random)
{
    std::uint32_t bits;
    do {
        bits = random();
        float value;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isfinite(value))
            return value;
    } while (true);
}

std::string randomText(std::mt19937& random)
{
    static const std::string pieces[] = {
        "Media/", "voice-", ".caf", "\xC3\xA9",         "\"", "\\", "\n",
        "\x01",   "/",      "..",   "\xF0\x9F\x8E\x99", " ",  "x"};
    std::string text;
    int n = std::uniform_int_distribution<int>(0, 8)(random);
    for (int i = 0; i < n; ++i)
        text += pieces[random() % std::size(pieces)];
    return text;
}

template <class T, class Make> std::optional<T> maybe(std::mt19937& random, Make make)
{
    if (random() % 2)
        return std::nullopt;
    return make();
}

PodcastProject randomDocument(std::mt19937& random)
{
    auto d = [&] { return randomDouble(random); };
    auto f = [&] { return randomFloat(random); };
    auto s = [&] { return randomText(random); };
    PodcastProject p;
    p.version = static_cast<int>(random() % 3);
    p.voiceFile = maybe<std::string>(random, s);
    p.musicFile = maybe<std::string>(random, s);
    int n = static_cast<int>(random() % 6);
    for (int i = 0; i < n; ++i) {
        Segment seg;
        seg.start = d();
        seg.duration = d();
        seg.file = maybe<std::string>(random, s);
        seg.timelineStart = maybe<double>(random, d);
        seg.gain = maybe<float>(random, f);
        p.segments.push_back(seg);
    }
    p.recordingPending = random() % 2;
    p.voiceVolume = f();
    p.musicVolume = f();
    p.fadeIn = d();
    p.fadeOut = d();
    p.treatment = maybe<VoiceTreatment>(random, [&] {
        VoiceTreatment t;
        t.enhance = random() % 2;
        t.reduceNoise = random() % 2;
        t.level = maybe<bool>(random, [&] { return random() % 2 == 0; });
        t.bass = maybe<double>(random, d);
        t.mid = maybe<double>(random, d);
        t.treble = maybe<double>(random, d);
        t.eqBands = maybe<std::vector<double>>(random, [&] {
            std::vector<double> bands(random() % 11);
            for (double& band : bands)
                band = d();
            return bands;
        });
        t.preset = static_cast<Preset>(random() % 4);
        return t;
    });
    for (std::optional<double>* field :
         {&p.playhead, &p.timelineZoom, &p.pendingStart, &p.musicSourceStart, &p.musicLength,
          &p.musicOffset, &p.fadeInStart, &p.fadeInEnd, &p.fadeOutStart, &p.fadeOutEnd})
        *field = maybe<double>(random, d);
    p.pendingVoiceFile = maybe<std::string>(random, s);
    return p;
}

} // namespace

TEST(ProjectJson, randomDocumentsRoundTripExactly)
{
    std::mt19937 random(20261122);
    for (int i = 0; i < 2000; ++i) {
        PodcastProject p = randomDocument(random);
        Result<std::string> text = encode(p);
        ASSERT_TRUE(text.ok()) << text.error().description;
        ASSERT_TRUE(nlohmann::json::accept(text.value())) << text.value();
        Result<PodcastProject> back = decode(text.value());
        ASSERT_TRUE(back.ok()) << back.error().description << "\n" << text.value();
        ASSERT_EQ(back.value(), p) << text.value();
        ASSERT_EQ(encode(back.value()).value(), text.value());
    }
}

TEST(ProjectJson, documentsRoundTripAfterRandomEdits)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<double> time(-2, 70);
    for (int i = 0; i < 300; ++i) {
        PodcastProject p = test::randomProject(random);
        for (int step = 0; step < 8; ++step) {
            double a = time(random);
            double b = a + std::abs(time(random)) / 4;
            switch (random() % 8) {
            case 0:
                p.split(a);
                break;
            case 1:
                p.trimVoice({a, b + 10});
                break;
            case 2:
                p.deleteVoice(a, b);
                break;
            case 3:
                p.silence({a, b}, random() % 2);
                break;
            case 4:
                p.paste(p.copiedClips({a, b}), b - a, time(random));
                break;
            case 5:
                p.insertTake("Media/voice-" + std::to_string(step) + ".caf", b - a + 0.5, a,
                             Uuid::random());
                break;
            case 6:
                if (!p.segments.empty())
                    p.moveClip(p.segments[random() % p.segments.size()].id, a);
                break;
            default:
                p.segments = p.resolvedSegments();
            }
            Result<std::string> text = encode(p);
            ASSERT_TRUE(text.ok());
            Result<PodcastProject> back = decode(text.value());
            ASSERT_TRUE(back.ok());
            ASSERT_EQ(back.value(), p);
        }
    }
}

} // namespace tw
