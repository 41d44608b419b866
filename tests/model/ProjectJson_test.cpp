#include "model/ProjectJson.hpp"

#include "model/TestClips.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <functional>
#include <limits>

namespace tw {

namespace {

const char* const idA = "0F8FAD5B-D9CB-469F-A165-70867728950E";
const char* const newProjectText = R"({"version":1,"segments":[],"recordingPending":false,)"
                                   R"("voiceVolume":1,"musicVolume":0.35,"fadeIn":5,"fadeOut":10})";
const std::string segmentText = std::string(R"({"id":")") + idA + R"(","start":0,"duration":1})";
const std::string treatmentText =
    R"({"enhance":true,"reduceNoise":false,"preset":"Radio masculina"})";
const std::string chapterText = std::string(R"({"id":")") + idA + R"(","time":3,"title":"Uno"})";
const double nan = std::numeric_limits<double>::quiet_NaN();
const double infinity = std::numeric_limits<double>::infinity();

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
    p.segments = {test::clip(1.5, 2.25, 0.125, "Media/paste-3.m4a", 0.0f), test::legacyClip(4)};
    p.recordingPending = true;
    p.voiceVolume = 0.8f;
    p.musicVolume = 0.2f;
    p.fadeIn = 3;
    p.fadeOut = 7.5;
    p.treatment = VoiceTreatment{true,
                                 true,
                                 false,
                                 1,
                                 -2.5,
                                 3,
                                 std::vector<double>{0, 1, 2, 3, 4, 5, 6, -7, 8, 9.5},
                                 Preset::femaleRadio};
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
    p.chapters = {{Uuid::random(), 0, "Intro"}, {Uuid::random(), 95.5, "Entrevista \"larga\""}};
    p.episode = EpisodeDetails{"Episodio 1", "Ana", "El programa", "Media/cover-1.png"};
    return p;
}

std::string withMember(const std::string& member, std::string text = newProjectText)
{
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

// The text with one top-level value replaced.
std::string replaced(const std::string& key, const std::string& value,
                     std::string text = newProjectText)
{
    std::size_t at = text.find("\"" + key + "\":") + key.size() + 3;
    return text.replace(at, text.find_first_of(",}", at) - at, value);
}

// The same text with one key of a JSON object removed.
std::string without(const std::string& object, const std::string& key)
{
    auto json = nlohmann::ordered_json::parse(object);
    json.erase(key);
    return json.dump();
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

std::string encoded(const PodcastProject& project)
{
    Result<std::string> text = encode(project);
    EXPECT_TRUE(text.ok()) << (text.ok() ? "" : text.error().description);
    return text.ok() ? text.value() : "";
}

} // namespace

TEST(ProjectJson, writesCompactlyInDeclarationOrderLeavingAbsentOptionalsOut)
{
    EXPECT_EQ(encoded(PodcastProject{}), newProjectText);
    const std::string text = encoded(fullProject());
    auto json = nlohmann::ordered_json::parse(text);
    EXPECT_EQ(
        keysOf(json),
        (std::vector<std::string>{
            "version",     "voiceFile",      "musicFile",        "segments",     "recordingPending",
            "voiceVolume", "musicVolume",    "fadeIn",           "fadeOut",      "treatment",
            "playhead",    "timelineZoom",   "pendingVoiceFile", "pendingStart", "musicSourceStart",
            "musicLength", "musicOffset",    "fadeInStart",      "fadeInEnd",    "fadeOutStart",
            "fadeOutEnd",  "loudnessTarget", "chapters",         "episode"}));
    EXPECT_EQ(
        keysOf(json["segments"][0]),
        (std::vector<std::string>{"id", "start", "duration", "file", "timelineStart", "gain"}));
    EXPECT_EQ(keysOf(json["segments"][1]), (std::vector<std::string>{"id", "start", "duration"}));
    EXPECT_EQ(json["treatment"]["preset"], "Radio femenina");
    for (const char* absent : {"null", "\n", "\t", ": ", ", "})
        EXPECT_EQ(text.find(absent), std::string::npos) << absent;
}

TEST(ProjectJson, writingRefusesWhatJsonCannotCarryNamingTheKey)
{
    const std::pair<std::string, std::function<void(PodcastProject&)>> cases[] = {
        {"voiceVolume", [](PodcastProject& p) { p.voiceVolume = float(nan); }},
        {"segments[1].duration", [](PodcastProject& p) { p.segments[1].duration = infinity; }},
        {"segments[0].gain", [](PodcastProject& p) { p.segments[0].gain = float(infinity); }},
        {"treatment.eqBands", [](PodcastProject& p) { p.treatment->eqBands->at(3) = nan; }},
        {"musicFile", [](PodcastProject& p) { p.musicFile = "Media/\xFF.mp3"; }},
    };
    for (const auto& [path, spoil] : cases) {
        PodcastProject p = fullProject();
        spoil(p);
        Result<std::string> text = encode(p);
        ASSERT_FALSE(text.ok()) << path;
        EXPECT_EQ(text.error().domain, "Project");
        EXPECT_NE(text.error().description.find('"' + path + '"'), std::string::npos)
            << text.error().description;
    }
}

// Reading ---------------------------------------------------------------------------------------

TEST(ProjectJson, whatIsWrittenReadsBackAsTheSameDocument)
{
    PodcastProject sparse;
    sparse.segments = {test::clip(9, 1), test::legacyClip(2), test::clip(0, 1, 0, std::nullopt)};
    sparse.treatment = VoiceTreatment{};
    // Extreme and denormal numbers, -0 and escapes: writing what was read gives the same text
    // again, so not even the sign of a zero is lost.
    PodcastProject extreme = fullProject();
    extreme.fadeIn = -0.0;
    extreme.fadeOut = std::numeric_limits<double>::denorm_min();
    extreme.playhead = std::numeric_limits<double>::max();
    extreme.musicOffset = -1.2345678901234567e-300;
    extreme.chapters[1].time = 0.1 + 0.2;
    extreme.treatment->eqBands->at(2) = -1e21;
    extreme.voiceVolume = std::numeric_limits<float>::denorm_min();
    extreme.musicVolume = -std::numeric_limits<float>::max();
    extreme.segments[0].gain = -0.0f;
    extreme.voiceFile = "Media/caf\xC3\xA9 \"1\"\\x\n\t\x01\x7F/\xF0\x9F\x8E\x99.caf";
    for (const PodcastProject& p : {PodcastProject{}, fullProject(), sparse, extreme}) {
        const std::string text = encoded(p);
        Result<PodcastProject> back = decode(text);
        ASSERT_TRUE(back.ok()) << back.error().description;
        EXPECT_EQ(back.value(), p);
        EXPECT_EQ(encoded(back.value()), text);
    }
    for (const auto& [target, text] : {std::pair{LoudnessTarget::podcast, "podcast"},
                                       std::pair{LoudnessTarget::broadcast, "ebuR128"},
                                       std::pair{LoudnessTarget::none, "none"}}) {
        PodcastProject p;
        p.loudnessTarget = target;
        EXPECT_EQ(encoded(p), withMember(std::string(R"("loudnessTarget":")") + text + '"'));
        EXPECT_EQ(decode(encoded(p)).value(), p);
    }
}

// Each text reads as the document beside it (what other writers may do), or is refused with a
// message naming what is wrong: the fragment beside it.
TEST(ProjectJson, readingAcceptsWhatAnyJsonWriterMayProduceAndRefusesDamageSayingWhere)
{
    std::vector<std::pair<std::string, std::string>> cases = {
        {"\xEF\xBB\xBF { \"fadeOut\" : 10 ,\n \"fadeIn\" : 5, \"musicVolume\": 0.35,\r\n"
         "\t\"voiceVolume\":1, \"recordingPending\" : false, \"segments\" : [ ] ,"
         " \"version\" : 1 } \n",
         newProjectText},
        {withSegment(std::string(R"({"id":")") + "0f8fad5b-d9cb-469f-a165-70867728950e" +
                     R"(","start":0,"duration":1,"file":null,"timelineStart":null,"gain":null,)"
                     R"("colour":{"r":[1,2,{"deep":null}]}})"),
         withSegment(segmentText)},
        {withMember(R"("voiceFile":null,"treatment":null,"playhead":null,"future":true,)"
                    R"("fadeOutEnd":null,"chapters":null,"episode":null,"extra":[[],{}])"),
         newProjectText},
        {withMember(R"("treatment":{"enhance":true,"reduceNoise":false,"level":null,)"
                    R"("eqBands":null,"bass":null,"preset":"Radio masculina","more":1})"),
         withMember(R"("treatment":)" + treatmentText)},
        // Of a key given twice the last value counts.
        {withMember(R"("fadeIn":7,"segments":[)" + segmentText + "]"),
         replaced("fadeIn", "7", withSegment(segmentText))},
        {replaced("fadeIn", "1e-400"), replaced("fadeIn", "0")}, // too small reads as zero
        // Refused, saying where.
        {replaced("version", R"("1")"), "version"},
        {replaced("version", "1.5"), "version"},
        {replaced("segments", "{}"), "segments"},
        {replaced("segments", "[1]"), "segments[0]"},
        {replaced("recordingPending", "0"), "recordingPending"},
        {replaced("voiceVolume", R"("1")"), "voiceVolume"},
        {replaced("fadeIn", "1e999"), "fadeIn"},
        {replaced("voiceVolume", "1e39"), "voiceVolume"},
        {withMember(R"("voiceFile":3)"), "voiceFile"},
        {withMember(R"("treatment":[])"), "treatment"},
        {withMember(R"("chapters":[1])"), "chapters[0]"},
        {withMember(R"("episode":{"show":3})"), "episode.show"},
        {withSegment(R"({"id":7,"start":0,"duration":1})"), "segments[0].id"},
        {withSegment(R"({"id":")" + std::string(idA) + R"(","start":0,"duration":1,"gain":"1"})"),
         "segments[0].gain"},
        {withMember(R"("treatment":{"enhance":true,"reduceNoise":false,"eqBands":[1,null],)"
                    R"("preset":"Radio masculina"})"),
         "treatment.eqBands"},
        {withMember(R"("future":")" + std::string(65u << 20, 'x') + "\""), "64 MiB"},
        {"not json", "JSON"},
        {newProjectText + std::string(" x"), "JSON"}, // bytes after the document
        {"[]", "objeto"},
    };
    for (const char* key : {"version", "segments", "recordingPending", "voiceVolume", "musicVolume",
                            "fadeIn", "fadeOut"})
        cases.emplace_back(without(newProjectText, key), '"' + std::string(key) + '"');
    for (const char* key : {"id", "start", "duration"})
        cases.emplace_back(withSegment(without(segmentText, key)),
                           "segments[0]." + std::string(key));
    for (const char* key : {"enhance", "reduceNoise", "preset"})
        cases.emplace_back(withMember(R"("treatment":)" + without(treatmentText, key)),
                           "treatment." + std::string(key));
    for (const char* key : {"id", "time", "title"})
        cases.emplace_back(
            withMember(R"("chapters":[)" + chapterText + "," + without(chapterText, key) + "]"),
            "chapters[1]." + std::string(key));
    for (const char* id :
         {"", "0F8FAD5BD9CB469FA16570867728950E", "{0F8FAD5B-D9CB-469F-A165-70867728950E}"})
        cases.emplace_back(
            withSegment(R"({"id":")" + std::string(id) + R"(","start":0,"duration":1})"),
            "segments[0].id\" no es un UUID");
    for (const char* target : {R"("Podcast")", "16"})
        cases.emplace_back(withMember(R"("loudnessTarget":)" + std::string(target)),
                           "loudnessTarget");
    for (const char* preset : {"podcast", "Podcast masculino ", "Radio femenino"})
        cases.emplace_back(
            withMember(R"("treatment":{"enhance":false,"reduceNoise":false,"preset":")" +
                       std::string(preset) + "\"}"),
            "treatment.preset");
    for (const auto& [text, expected] : cases) {
        const std::string problem = decodeProblem(text);
        if (expected.starts_with('{')) {
            ASSERT_EQ(problem, "") << text;
            EXPECT_EQ(decode(text).value(), decode(expected).value()) << text;
        } else {
            EXPECT_NE(problem.find(expected), std::string::npos)
                << text.substr(0, 200) << " -> " << problem;
        }
    }
}

// Validation before opening -----------------------------------------------------------------------

TEST(ProjectJson, openingRefusesOtherVersionsFirstThenPathsOutsideTheFolder)
{
    const Error unsupported{"Project", 2, "Versión de proyecto no compatible."};
    const Error invalidPath{"Project", 3, "Ruta de audio inválida."};
    for (const char* version : {"2", "0", "4294967297", "1e30"}) {
        Result<PodcastProject> p = decode(replaced("version", version));
        ASSERT_TRUE(p.ok()) << version;
        p.value().musicFile = "/abs.mp3";
        EXPECT_EQ(validateForOpen(p.value()).error(), unsupported) << version;
    }
    auto withVoicePath = [](std::string path) {
        return test::projectWith(
            {test::clip(0, 1, 0, "Media/voice-1.caf"), test::clip(1, 1, 0, path)});
    };
    for (std::string bad : {"../voice.caf", "Media/../../voice.caf", "/home/me/voice.caf",
                            "Media/..", "..", "a/../b.caf", "Media//..//x.caf", "/"})
        EXPECT_EQ(validateForOpen(withVoicePath(bad)).error(), invalidPath) << bad;
    for (std::string good :
         {"Media//voice.caf", "./Media/voice.caf", "Media/a..b.caf", ".../voice.caf",
          "Media/./x.caf", ".", "..caf", "Media/...", "Media/x..", ""})
        EXPECT_TRUE(validateForOpen(withVoicePath(good)).ok()) << good;
    // Every place a path is kept: the music, the pending take, the older single voice file.
    const std::function<void(PodcastProject&)> elsewhere[] = {
        [](PodcastProject& p) { p.musicFile = "/Users/me/music.mp3"; },
        [](PodcastProject& p) { p.pendingVoiceFile = "../take.caf"; },
        [](PodcastProject& p) { p.voiceFile = "/voice.caf"; },
    };
    for (const auto& spoil : elsewhere) {
        PodcastProject p = fullProject();
        EXPECT_TRUE(validateForOpen(p).ok());
        spoil(p);
        EXPECT_EQ(validateForOpen(p).error(), invalidPath);
    }
}

TEST(ProjectJson, openingRefusesTimesBeyondADayAndVolumesBeyondSixteenNamingTheNumber)
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

TEST(ProjectJson, openingRefusesChaptersBelowZeroOrWithoutTitleAndCoversOutsideTheFolder)
{
    const struct {
        double time;
        std::string title;
        std::optional<std::string> cover;
        std::string problem; // empty: opens
    } cases[] = {
        {0, "Intro", "Media/cover-A.jpg", ""},
        {86400, "Final", std::nullopt, ""},
        {-1, "Antes", std::nullopt, R"(El número de "chapters[1].time" está fuera de rango (-1).)"},
        {86401, "Tarde", std::nullopt,
         R"(El número de "chapters[1].time" está fuera de rango (86401).)"},
        {nan, "Nada", std::nullopt,
         R"(El número de "chapters[1].time" está fuera de rango (nan).)"},
        {5, "", std::nullopt, R"(La clave "chapters[1].title" no puede estar vacía.)"},
        {5, "Uno", "/tmp/cover.png", "Ruta de imagen inválida."},
    };
    for (const auto& c : cases) {
        PodcastProject p = fullProject();
        p.chapters[1].time = c.time;
        p.chapters[1].title = c.title;
        p.episode->cover = c.cover;
        Result<void> check = validateForOpen(p);
        EXPECT_EQ(check.ok() ? "" : check.error().description, c.problem) << c.time << c.title;
    }
}

} // namespace tw
