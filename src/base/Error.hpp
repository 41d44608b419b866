// A failure as the user and the code see it: a domain, a small code and a Spanish description.
#pragma once

#include <string>

namespace tw {

namespace ErrorDomain {
inline constexpr const char* project = "Project";
inline constexpr const char* audio = "Audio";
inline constexpr const char* recording = "Recording";
inline constexpr const char* voiceProcessor = "VoiceProcessor";
inline constexpr const char* exporting = "Export";
// Status codes of the operating system or of a library (errno, FFmpeg, libsndfile, PulseAudio).
inline constexpr const char* system = "System";
} // namespace ErrorDomain

struct Error {
    std::string domain;
    int code = 0;
    std::string description;

    bool operator==(const Error&) const = default;
};

// What an errno value means, in Spanish; unknown values say their number.
std::string systemDescription(int errnoValue);
// An error of the system status domain from an errno value, with that description.
Error systemError(int errnoValue);
// The same, with the errno value prefixed by what was being done ("No se pudo crear …").
Error systemError(int errnoValue, const std::string& context);

} // namespace tw
