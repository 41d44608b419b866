// Turns FFmpeg status codes into the "Audio" errors of the file layer, described in Spanish
// (FFmpeg's own texts are English).
#pragma once

#include "base/Error.hpp"

#include <filesystem>
#include <string>

namespace tw {

// What an FFmpeg status means, for a user: an AVERROR(errno) as the system's failure.
std::string ffmpegDescription(int averror);

// "<what> «<file name>»: <description>"
Error ffmpegError(int code, const std::string& what, const std::filesystem::path& file,
                  int averror);

// Keeps FFmpeg quiet about damaged input: the caller reports the failure itself.
void silenceFfmpegLog();

} // namespace tw
