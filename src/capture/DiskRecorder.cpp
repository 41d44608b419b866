#include "capture/DiskRecorder.hpp"

#include "audio/Denormals.hpp"

#include <algorithm>
#include <cmath>
#include <system_error>

namespace tw {

namespace {

Error diskTooSlowError()
{
    return Error{ErrorDomain::recording, 1, "El disco no puede seguir el ritmo de la grabación."};
}

} // namespace

DiskRecorder::DiskRecorder(InputFactory makeInput, WriterFactory makeWriter,
                           SpectrumMonitor& monitor)
    : makeInput_(std::move(makeInput))
    , makeWriter_(std::move(makeWriter))
    , spectrum_("record", monitor)
{
    if (!makeWriter_)
        makeWriter_ = [](const std::filesystem::path& path, double rate, int channels) {
            return CafWriter::create(path, rate, channels);
        };
}

DiskRecorder::~DiskRecorder()
{
    stop();
}

void DiskRecorder::setConfigurationChangeHandler(ConfigurationChangeHandler handler)
{
    changeHandler_ = std::move(handler);
}

Result<void> DiskRecorder::start(const std::filesystem::path& url,
                                 std::optional<std::uint32_t> device)
{
    std::error_code ec;
    std::filesystem::create_directories(url.parent_path(), ec);
    if (ec)
        return systemError(ec.value(), "No se pudo crear la carpeta " + url.parent_path().string());

    auto input = makeInput_();
    AudioInput* inputPointer = input.get();
    input->setCaptureCallback(
        [this](const AudioBufferList& list, int frames) { capture(list, frames); });
    input->setConfigurationChangeHandler([this, inputPointer] {
        if (changeHandler_)
            changeHandler_(inputPointer);
    });
    auto format = input->open(device.value_or(0), bufferFrames);
    if (!format)
        return format.error();
    const double rate = format.value().sampleRate;
    const int channels = format.value().channels;
    if (!(rate > 0) || channels <= 0)
        return AudioInputErrors::invalidFormat();

    auto file = makeWriter_(url, rate, channels);
    if (!file)
        return file.error();

    spectrum_.setRate(rate);
    {
        std::lock_guard guard(lock_);
        file_ = std::move(file).value();
        failure_.reset();
        pendingPeaks_.clear();
        framesWritten_ = 0;
        sampleRate_ = rate;
    }
    channels_ = channels;
    runningMax_ = 0;
    bucketCount_ = 0;
    framesPerPeak_ = std::max(static_cast<int>(std::trunc(rate / 50.0)), 1);
    slots_.assign(slotCount,
                  Slot{std::vector<float>(static_cast<std::size_t>(bufferFrames) * channels), 0});
    produced_ = 0;
    consumed_ = 0;
    stopping_ = false;
    dropped_ = false;
    input_ = std::move(input);
    capturing_ = true;
    writer_.async([this] { pump(); });

    auto started = input_->start();
    if (!started) {
        stop();
        return started.error();
    }
    return {};
}

void DiskRecorder::capture(const AudioBufferList& list, int frames)
{
    if (list.count == 0 || frames <= 0)
        return;
    const AudioBuffer& first = list.buffers[0];
    const int stride = std::max(first.channels, 1);
    float peak = 0;
    if (first.data)
        for (int f = 0; f < frames; ++f)
            peak = std::max(peak, std::abs(first.data[static_cast<std::size_t>(f) * stride]));
    peak_.store(peak, std::memory_order_relaxed);

    for (int done = 0; done < frames;) {
        const int chunk = std::min(frames - done, bufferFrames);
        if (!freeSlots_.try_acquire()) {
            dropped_.store(true, std::memory_order_relaxed);
            return;
        }
        Slot& slot = slots_[produced_.load(std::memory_order_relaxed) % slotCount];
        // Gather every buffer of the list into the slot's interleaved frames.
        int firstChannel = 0;
        for (int b = 0; b < list.count; ++b) {
            const AudioBuffer& buffer = list.buffers[b];
            for (int c = 0; c < buffer.channels && firstChannel + c < channels_; ++c)
                for (int f = 0; f < chunk; ++f)
                    slot.samples[static_cast<std::size_t>(f) * channels_ + firstChannel + c] =
                        buffer.data
                            ? buffer.data[static_cast<std::size_t>(done + f) * buffer.channels + c]
                            : 0.0f;
            firstChannel += buffer.channels;
        }
        slot.frames = chunk;
        produced_.fetch_add(1, std::memory_order_release);
        filledSlots_.release();
        done += chunk;
    }
}

void DiskRecorder::pump()
{
    ScopedDenormalsOff denormals;
    for (;;) {
        filledSlots_.acquire();
        if (consumed_ == produced_.load(std::memory_order_acquire)) {
            if (stopping_.load())
                return;
            continue;
        }
        writeSlot(slots_[consumed_ % slotCount]);
        ++consumed_;
        freeSlots_.release();
    }
}

void DiskRecorder::writeSlot(Slot& slot)
{
    auto written = file_->writeInterleaved(slot.samples.data(), slot.frames);
    if (!written) {
        std::lock_guard guard(lock_);
        failure_ = written.error();
        // A write cut short (a full disk, a file-size limit) may still have put frames on disk.
        framesWritten_ = file_->framesWritten();
        return;
    }
    spectrum_.process(AudioBufferList::interleaved(slot.samples.data(), channels_), slot.frames);

    spare_.clear();
    for (int f = 0; f < slot.frames; ++f) {
        const float* frame = slot.samples.data() + static_cast<std::size_t>(f) * channels_;
        for (int c = 0; c < channels_; ++c)
            runningMax_ = std::max(runningMax_, std::abs(frame[c]));
        if (++bucketCount_ == framesPerPeak_) {
            spare_.push_back(runningMax_);
            runningMax_ = 0;
            bucketCount_ = 0;
        }
    }
    std::lock_guard guard(lock_);
    framesWritten_ += slot.frames;
    pendingPeaks_.insert(pendingPeaks_.end(), spare_.begin(), spare_.end());
}

void DiskRecorder::stop()
{
    if (input_)
        input_->stop();
    if (capturing_) {
        stopping_ = true;
        filledSlots_.release();
        writer_.sync([this] {
            if (bucketCount_ >= 1) {
                std::lock_guard guard(lock_);
                pendingPeaks_.push_back(runningMax_);
            }
            bucketCount_ = 0;
        });
        capturing_ = false;
    }
    std::unique_ptr<CafWriter> closing;
    {
        std::lock_guard guard(lock_);
        closing = std::move(file_);
        if (dropped_.exchange(false))
            failure_ = diskTooSlowError();
    }
    if (closing) {
        auto closed = closing->close();
        if (!closed) {
            std::lock_guard guard(lock_);
            if (!failure_)
                failure_ = closed.error();
        }
    }
    input_.reset();
}

DiskRecorder::Status DiskRecorder::status()
{
    std::lock_guard guard(lock_);
    if (dropped_.exchange(false) && !failure_)
        failure_ = diskTooSlowError();
    Status status;
    status.peak = peak_.load(std::memory_order_relaxed);
    status.error = failure_;
    status.peaks.assign(pendingPeaks_.begin(), pendingPeaks_.end());
    pendingPeaks_.clear();
    status.duration = static_cast<double>(framesWritten_) / sampleRate_;
    return status;
}

Result<void> DiskRecorder::setPaused(bool paused)
{
    if (!input_)
        return {};
    return input_->setPaused(paused);
}

bool DiskRecorder::captureWasInterrupted(const void* input, bool paused) const
{
    return capturing_ && input_ && input == input_.get() && !paused && !input_->isRunning();
}

double DiskRecorder::sampleRate() const
{
    std::lock_guard guard(lock_);
    return sampleRate_;
}

} // namespace tw
