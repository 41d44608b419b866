// Reads any audio file FFmpeg decodes as 32-bit float at the file's own rate and channel count.
#pragma once

#include "base/Result.hpp"

#include <cstdint>
#include <filesystem>
#include <memory>

namespace tw {

class AudioFileReader {
public:
    // Fails with an "Audio" error whose description carries FFmpeg's own text.
    static Result<std::unique_ptr<AudioFileReader>> open(const std::filesystem::path& path);
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
