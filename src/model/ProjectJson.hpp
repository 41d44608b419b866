// The JSON form of the document (project.json) and the checks a document passes before opening.
#pragma once

#include "base/Result.hpp"
#include "model/PodcastProject.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace tw {

// The code of encode and decode failures (domain "Project"); their description says what is wrong
// and where ("Falta la clave obligatoria \"segments[2].id\".").
inline constexpr int projectFormatErrorCode = 0;

// Beyond any real project (a long programme is well under a megabyte) and small enough that a
// hostile file cannot make the reader hold gigabytes.
inline constexpr std::size_t maxDocumentBytes = 64u * 1024u * 1024u;
// "El proyecto ocupa más de 64 MiB y no se puede leer."
Error documentTooLargeError();

// Compact JSON, keys in declaration order, absent optionals omitted. Fails only on a number
// that is not finite (or on text that is not UTF-8, which JSON cannot carry).
Result<std::string> encode(const PodcastProject& project);
// Reads a document; unknown keys are ignored and null optionals read as absent.
Result<PodcastProject> decode(std::string_view bytes);
// Version 1, then every audio path and the cover relative and inside the folder ("Project" codes
// 2 and 3), then every time within a day (a chapter's also not negative) and every volume, gain
// and equaliser gain within +-16 (+-24 dB), refused as out of range like a number that does not
// fit its type; last, every chapter has a title.
Result<void> validateForOpen(const PodcastProject& project);

// "Elige un nombre nuevo para evitar reemplazar otro proyecto." (domain "Project", code 1).
Error projectLocationTakenError();

} // namespace tw
