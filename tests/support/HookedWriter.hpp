// Take writers that do what the ordinary one does while a test fails their writes (a full disk)
// or watches them (what a killed or limited take had written). Hooks run on the disk writer.
#pragma once

#include "audio/CafWriter.hpp"
#include "capture/DiskRecorder.hpp"

#include <functional>
#include <optional>

namespace tw::testing {

struct WriterHooks {
    // Before each write: an error fails it without writing.
    std::function<std::optional<Error>()> before = {};
    // After each write: its result and the frames the file then holds.
    std::function<void(const Result<void>&, std::int64_t)> after = {};
};

class HookedWriter final : public CafWriter {
public:
    HookedWriter(std::unique_ptr<CafWriter> inner, WriterHooks hooks)
        : inner_(std::move(inner))
        , hooks_(std::move(hooks))
    {
    }
    double sampleRate() const override { return inner_->sampleRate(); }
    int channels() const override { return inner_->channels(); }
    Result<void> write(const AudioBufferList& list, int frames) override
    {
        return hooked([&] { return inner_->write(list, frames); });
    }
    Result<void> writeInterleaved(const float* samples, int frames) override
    {
        return hooked([&] { return inner_->writeInterleaved(samples, frames); });
    }
    std::int64_t framesWritten() const override { return inner_->framesWritten(); }
    Result<void> close() override { return inner_->close(); }

private:
    template <class Write> Result<void> hooked(Write write)
    {
        if (hooks_.before)
            if (std::optional<Error> error = hooks_.before())
                return *error;
        Result<void> result = write();
        if (hooks_.after)
            hooks_.after(result, inner_->framesWritten());
        return result;
    }
    std::unique_ptr<CafWriter> inner_;
    WriterHooks hooks_;
};

// Makes every take file an ordinary CAF writer with hooks.
inline DiskRecorder::WriterFactory hookedWriters(WriterHooks hooks)
{
    return [hooks](const std::filesystem::path& path, double rate,
                   int channels) -> Result<std::unique_ptr<CafWriter>> {
        auto inner = CafWriter::create(path, rate, channels);
        if (!inner)
            return inner.error();
        return std::unique_ptr<CafWriter>(
            std::make_unique<HookedWriter>(std::move(inner).value(), hooks));
    };
}

} // namespace tw::testing
