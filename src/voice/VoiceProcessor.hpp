// The offline road of the voice treatment: every voice source file is rendered once per
// treatment into a cached float CAF inside the project's .Render folder, which export then uses.
// The recorded takes are never touched. Blocking; callers run it off the main thread.
#pragma once

#include "base/Result.hpp"
#include "model/VoiceTreatment.hpp"

#include <filesystem>
#include <string>

namespace tw::VoiceProcessor {

// Frames read, treated and written per step.
inline constexpr int blockFrames = 8192;

// The cache file name of source (a project-relative path) under treatment:
// "<base>-<enhance>-<reduceNoise>-<preset>-level<level>-eq<bass>-<mid>-<treble>-bands<bands>-v4.caf".
std::string cacheName(const std::string& source, const VoiceTreatment& treatment);

// The shortest decimal text that reads back to the same double, always with a fractional part
// or an exponent ("0.0", "3.5", "-2.0").
std::string decimalText(double value);

// The path relative to folder (".Render/…") of the treated copy of folder/source, rendered now if
// it is not there yet. A cache name only ever refers to a complete render: the render goes to a
// temporary file that is moved into place, and the temporary is removed in every case.
Result<std::string> prepare(const std::string& source, const std::filesystem::path& folder,
                            const VoiceTreatment& treatment);

// Treats the whole input file into output (float CAF at the input's rate and channel count).
Result<void> render(const std::filesystem::path& input, const std::filesystem::path& output,
                    const VoiceTreatment& treatment);

} // namespace tw::VoiceProcessor
