// Project folders for Studio tests: a temporary place, documents written and read back through
// the project's own JSON code, and short audio files made on the fly with sox.
#pragma once

#include "model/ProjectJson.hpp"
#include "studio/ProjectWriter.hpp"
#include "support/AudioFiles.hpp"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tw::testing {

using TempFolder = testfiles::TempDir;

// A clip of file placed at `at` on the timeline, from `start` into the file.
inline Segment placedClip(double at, double length, const std::string& file,
                          std::optional<float> gain = std::nullopt, double start = 0)
{
    return {.start = start, .duration = length, .file = file, .timelineStart = at, .gain = gain};
}

// Writes document as folder/project.json (creating folder and its Media folder).
inline void writeProject(const std::filesystem::path& folder, const PodcastProject& document)
{
    std::filesystem::create_directories(folder / "Media");
    Result<std::string> bytes = encode(document);
    if (!bytes || !writeProjectFile(folder, bytes.value()))
        throw std::runtime_error("cannot write the test project in " + folder.string());
}

// Writes text as file, creating its folder.
inline void writeFile(const std::filesystem::path& file, const std::string& text)
{
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

// The document in folder/project.json; throws when it is missing or does not decode.
inline PodcastProject readProject(const std::filesystem::path& folder)
{
    Result<std::string> bytes = readProjectFile(folder);
    Result<PodcastProject> document = bytes ? decode(bytes.value()) : bytes.error();
    if (!document)
        throw std::runtime_error("cannot read " + folder.string() + ": " +
                                 document.error().description);
    return document.value();
}

// A mono 48 kHz sine tone of the given length, in the format the extension names (wav, flac…).
inline void makeTone(const std::filesystem::path& file, double seconds, double frequency = 440)
{
    std::filesystem::create_directories(file.parent_path());
    testfiles::run("sox -n -r 48000 -c 1 -b 16 " + testfiles::quoted(file) + " synth " +
                   testfiles::decimal(seconds) + " sine " + testfiles::decimal(frequency) +
                   " vol 0.5");
}

// The fade points of document: in start and end, out start and end (absent ones empty).
inline std::vector<std::optional<double>> fadePoints(const PodcastProject& document)
{
    return {document.fadeInStart, document.fadeInEnd, document.fadeOutStart, document.fadeOutEnd};
}
using Points = std::vector<std::optional<double>>;

// Whether document holds no pending take: the mark and its fields are all cleared.
inline bool noPendingTake(const PodcastProject& document)
{
    return !document.recordingPending && !document.pendingVoiceFile && !document.pendingStart;
}

// Files directly inside folder whose name starts with prefix.
inline int countFiles(const std::filesystem::path& folder, const std::string& prefix)
{
    int count = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error))
        if (entry.path().filename().string().rfind(prefix, 0) == 0)
            ++count;
    return count;
}

} // namespace tw::testing
