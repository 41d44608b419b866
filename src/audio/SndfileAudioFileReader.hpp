// The fast route for uncompressed float CAF and WAV files (takes and render caches): libsndfile
// reads the samples straight into the caller's buffer, with the same values FFmpeg decodes.
#pragma once

#include "audio/AudioFileReader.hpp"

namespace tw {

// Null when the file is not a float CAF/WAV that libsndfile reads; the caller then uses FFmpeg.
std::unique_ptr<AudioFileReader> openFloatFileWithSndfile(const std::filesystem::path& path);

} // namespace tw
