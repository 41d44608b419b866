// The JSON form of the document (project.json) and the checks a document passes before opening.
#pragma once

#include "base/Result.hpp"
#include "model/PodcastProject.hpp"

#include <string>
#include <string_view>

namespace tw {

// The code of encode and decode failures (domain "Project"); their description says what is wrong
// and where ("Falta la clave obligatoria \"segments[2].id\".").
inline constexpr int projectFormatErrorCode = 0;

// Compact JSON, keys in declaration order, absent optionals omitted. Fails only on a number
// that is not finite (or on text that is not UTF-8, which JSON cannot carry).
Result<std::string> encode(const PodcastProject& project);
// Reads a document; unknown keys are ignored and null optionals read as absent.
Result<PodcastProject> decode(std::string_view bytes);
// Version 1, then every audio path relative and inside the folder ("Project" codes 2 and 3).
Result<void> validateForOpen(const PodcastProject& project);

// "Elige un nombre nuevo para evitar reemplazar otro proyecto." (domain "Project", code 1).
Error projectLocationTakenError();

} // namespace tw
