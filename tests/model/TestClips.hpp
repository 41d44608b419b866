// Small builders for clips and projects shared by the model tests, and the timeline written out
// as text so that a test states a whole expected timeline in one line.
#pragma once

#include "model/PodcastProject.hpp"

#include <optional>
#include <random>
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

// A random project with resolved, legacy and overlapping clips, for property tests.
inline PodcastProject randomProject(std::mt19937& random, int maxClips = 12)
{
    std::uniform_int_distribution<int> count(0, maxClips);
    std::uniform_real_distribution<double> length(0.01, 8);
    std::uniform_real_distribution<double> place(0, 60);
    std::bernoulli_distribution coin(0.5);
    std::bernoulli_distribution rarely(0.15);
    PodcastProject project;
    if (coin(random))
        project.voiceFile = "Media/voice-main.caf";
    int n = count(random);
    for (int i = 0; i < n; ++i) {
        Segment s;
        s.start = place(random);
        s.duration = length(random);
        if (!rarely(random))
            s.timelineStart = place(random);
        if (coin(random))
            s.file = "Media/voice-" + std::to_string(i % 3) + ".caf";
        if (rarely(random))
            s.gain = coin(random) ? 0.0f : 1.0f;
        project.segments.push_back(s);
    }
    return project;
}

} // namespace tw::test
