// Feeds arbitrary bytes to the project reader. A document that reads must validate without
// crashing, write back, and read back equal; everything the reader accepts must be JSON to an
// independent parser too; the timeline edits must keep the document writable and, after a
// move, free of overlaps.
#include "model/ProjectJson.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

void check(bool condition)
{
    if (!condition)
        std::abort();
}

// A number in [0, 1) taken from the input, so edit positions follow the input deterministically.
double fraction(std::string_view bytes, std::size_t salt)
{
    if (bytes.empty())
        return 0.5;
    std::uint32_t hash = 2166136261u + static_cast<std::uint32_t>(salt);
    for (std::size_t i = salt % bytes.size(); i < bytes.size(); i += 7)
        hash = (hash ^ static_cast<unsigned char>(bytes[i])) * 16777619u;
    return (hash % 10007) / 10007.0;
}

void exerciseEdits(tw::PodcastProject project, std::string_view bytes)
{
    if (project.segments.size() > 200)
        return; // keeps each run fast; long timelines are covered by the tests
    double length = std::min(project.voiceDuration(), 1e6) + 1;
    auto at = [&](std::size_t salt) { return fraction(bytes, salt) * length - 0.5; };
    project.split(at(1));
    project.silence({at(2), at(2) + at(3)}, fraction(bytes, 4) < 0.5);
    std::vector<tw::Segment> copied = project.copiedClips({at(5), at(5) + at(6)});
    project.paste(copied, at(7), at(8));
    project.deleteVoice(at(9), at(10));
    project.insertTake("Media/voice-fuzz.caf", at(11), at(12), tw::Uuid::random());
    bool ordinary = std::all_of(project.segments.begin(), project.segments.end(), [](auto& s) {
        return s.duration >= 0 && s.duration < 1e9 && std::fabs(s.timelineStart.value_or(0)) < 1e9;
    });
    if (!project.segments.empty()) {
        std::size_t index = static_cast<std::size_t>(fraction(bytes, 13) * project.segments.size());
        project.moveClip(project.segments[index].id, at(14));
        std::vector<tw::Segment> clips = project.resolvedSegments();
        // Clips of negative length can legitimately overlap after a move.
        for (std::size_t i = 1; ordinary && i < clips.size(); ++i)
            check(*clips[i - 1].timelineStart + clips[i - 1].duration <= *clips[i].timelineStart);
    }
    project.trimVoice({at(15), at(16)});
    (void)project.segment(at(17));
    tw::Fades fades = project.fades(project.musicRange(at(18)).duration);
    if (std::isfinite(fades.outEnd))
        check(fades.inStart <= fades.inEnd && fades.inEnd <= fades.outStart &&
              fades.outStart <= fades.outEnd);
    tw::Result<std::string> encoded = tw::encode(project);
    check(encoded.ok());
    check(tw::decode(encoded.value()).ok());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    tw::Result<tw::PodcastProject> decoded = tw::decode(bytes);
    if (!decoded.ok()) {
        check(!decoded.error().description.empty());
        return 0;
    }
    check(nlohmann::json::accept(bytes));
    (void)tw::validateForOpen(decoded.value());

    tw::Result<std::string> encoded = tw::encode(decoded.value());
    check(encoded.ok());
    check(nlohmann::json::accept(encoded.value()));
    tw::Result<tw::PodcastProject> again = tw::decode(encoded.value());
    check(again.ok() && again.value() == decoded.value());
    tw::Result<std::string> twice = tw::encode(again.value());
    check(twice.ok() && twice.value() == encoded.value());

    exerciseEdits(decoded.value(), bytes);
    return 0;
}
