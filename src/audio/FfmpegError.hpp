// Turns FFmpeg status codes into the "Audio" errors of the file layer, with FFmpeg's own text.
#pragma once

#include "base/Error.hpp"

#include <filesystem>
#include <string>

namespace tw {

// "<what> «<file name>»: <av_strerror text>"
Error ffmpegError(int code, const std::string& what, const std::filesystem::path& file,
                  int averror);

// Keeps FFmpeg quiet about damaged input: the caller reports the failure itself.
void silenceFfmpegLog();

} // namespace tw
