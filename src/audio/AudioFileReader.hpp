// Reads any audio file FFmpeg decodes as 32-bit float at the file's own rate and channel count.
#pragma once

#include "base/Result.hpp"

#include <cstdint>
#include <filesystem>
#include <memory>

namespace tw {

// Codes of the "Audio" errors of the file layer.
namespace AudioFileError {
inline constexpr int open = 3;    // not a readable audio file
inline constexpr int noAudio = 4; // no decodable audio stream
inline constexpr int read = 5;    // decoding or reading failed
inline constexpr int seek = 6;    // the file cannot be positioned
inline constexpr int write = 7;   // creating or writing a file failed
} // namespace AudioFileError

class AudioFileReader {
public:
    // Fails with an "Audio" error whose description carries FFmpeg's own text. Uncompressed
    // float CAF and WAV files take a faster route through libsndfile with the same samples.
    static Result<std::unique_ptr<AudioFileReader>> open(const std::filesystem::path& path);
    // Always decodes through FFmpeg (the reference the faster route is held to).
    static Result<std::unique_ptr<AudioFileReader>>
    openWithFfmpeg(const std::filesystem::path& path);
    virtual ~AudioFileReader() = default;

    virtual double sampleRate() const = 0;
    virtual int channels() const = 0;
    // Exact length in frames (decoded to the end once where the container does not say).
    virtual std::int64_t length() const = 0;
    // The next frame read() delivers.
    virtual std::int64_t position() const = 0;
    // Reads up to frames interleaved frames (frames * channels() floats); 0 at the end.
    virtual Result<int> read(float* interleaved, int frames) = 0;
    // Sample-exact: the next read() starts at this frame.
    virtual Result<void> seek(std::int64_t frame) = 0;
};

} // namespace tw
