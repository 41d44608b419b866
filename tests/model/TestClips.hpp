// Small builders for clips and projects shared by the model tests, and the timeline written out
// as text so that a test states a whole expected timeline in one line.
#pragma once

#include "model/PodcastProject.hpp"

#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace tw::test {

// A resolved clip [at, at + duration) of `file`, `start` seconds into it.
inline Segment clip(double at, double duration, double start = 0,
                    std::optional<std::string> file = "Media/voice-A.caf",
                    std::optional<float> gain = std::nullopt)
{
    Segment s;
    s.start = start;
    s.duration = duration;
    s.file = std::move(file);
    s.timelineStart = at;
    s.gain = gain;
    return s;
}

// A clip of the single-file layout: no file, no position.
inline Segment legacyClip(double duration, double start = 0)
{
    Segment s;
    s.start = start;
    s.duration = duration;
    return s;
}

inline PodcastProject projectWith(std::vector<Segment> segments)
{
    PodcastProject project;
    project.segments = std::move(segments);
    return project;
}

// The identifier tests give a new take.
inline const Uuid takeId = *Uuid::parse("7A4E0000-0000-4000-8000-000000000001");

// The resolved clips in timeline order, "t0-t1 name@start", joined by ", ". The name is the
// letter of the clip of `known` it still is (a, b, …), T for the take, or "+" for a new clip;
// the file follows unless it is Media/voice-A.caf ("-" when absent), then the gain when stored.
inline std::string layout(const PodcastProject& project, const std::vector<Segment>& known = {})
{
    std::ostringstream text;
    for (const Segment& s : project.resolvedSegments()) {
        if (text.tellp() > 0)
            text << ", ";
        std::string name = s.id == takeId ? "T" : "+";
        for (std::size_t i = 0; i < known.size(); ++i)
            if (known[i].id == s.id)
                name = std::string(1, char('a' + i));
        text << *s.timelineStart << '-' << *s.timelineStart + s.duration << ' ' << name << '@'
             << s.start;
        if (s.file != "Media/voice-A.caf")
            text << ' ' << s.file.value_or("-");
        if (s.gain)
            text << " g" << *s.gain;
    }
    return text.str();
}

} // namespace tw::test
