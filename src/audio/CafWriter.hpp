// Writes 32-bit float CAF files (takes and render caches). What was written stays readable up to
// the last written buffer even when the writing process is killed.
#pragma once

#include "audio/AudioBufferList.hpp"
#include "base/Result.hpp"

#include <cstdint>
#include <filesystem>
#include <memory>

namespace tw {

class CafWriter {
public:
    // Creates (or truncates) the file.
    static Result<std::unique_ptr<CafWriter>> create(const std::filesystem::path& path,
                                                     double sampleRate, int channels);
    virtual ~CafWriter() = default; // closes

    virtual double sampleRate() const = 0;
    virtual int channels() const = 0;
    // Appends frames from a list of any layout whose channels add up to channels(). Once a write
    // has failed, every later one fails the same way and the file keeps what it holds.
    virtual Result<void> write(const AudioBufferList& list, int frames) = 0;
    virtual Result<void> writeInterleaved(const float* samples, int frames) = 0;
    virtual std::int64_t framesWritten() const = 0;
    virtual Result<void> close() = 0;
};

} // namespace tw
