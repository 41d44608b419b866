#include "voice/LiveVoiceTap.hpp"

#include "audio/Denormals.hpp"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <new>

namespace tw {

namespace {

bool processable(const StreamFormat& format)
{
    return format.linearPcm && format.sampleType == SampleType::float32;
}

// The list's buffers from frame `offset` on.
AudioBufferList from(const AudioBufferList& list, int offset)
{
    AudioBufferList rest;
    for (int b = 0; b < list.count; ++b) {
        const AudioBuffer& buffer = list.buffers[b];
        rest.add({buffer.channels,
                  buffer.data ? buffer.data + static_cast<std::ptrdiff_t>(offset) * buffer.channels
                              : nullptr});
    }
    return rest;
}

} // namespace

LiveTapState::LiveTapState(const VoiceTreatment& treatment, const std::string& source,
                           SpectrumMonitor& monitor)
    : dsp(std::make_unique<VoiceDSP>(treatment))
    , analyzer(source, monitor)
{
}

LiveVoiceTap::LiveVoiceTap(const VoiceTreatment& treatment, const std::string& source,
                           SpectrumMonitor& monitor)
    : treatment_(treatment)
    , state_(std::make_unique<LiveTapState>(treatment, source, monitor))
{
}

LiveVoiceTap::~LiveVoiceTap()
{
    delete pending_.exchange(nullptr);
    collect();
}

void LiveVoiceTap::collect()
{
    for (auto& slot : retired_)
        delete slot.exchange(nullptr, std::memory_order_acquire);
}

void LiveVoiceTap::setTreatment(const VoiceTreatment& treatment)
{
    treatment_ = treatment;
    collect();
    if (!prepared_) {
        // Nothing renders through an unprepared tap: its processor can simply be replaced.
        state_->dsp = std::make_unique<VoiceDSP>(treatment);
        return;
    }
    auto next = std::make_unique<VoiceDSP>(treatment);
    next->setSupported(processable(format_));
    next->prepare(format_.sampleRate, format_.channels);
    // One the render thread has not taken yet is simply overtaken by this one.
    delete pending_.exchange(next.release(), std::memory_order_acq_rel);
}

void LiveVoiceTap::prepare(int maxFrames, const StreamFormat& format)
{
    format_ = format;
    prepared_ = true;
    delete pending_.exchange(nullptr);
    collect();
    state_->outgoing.reset();
    state_->dsp = std::make_unique<VoiceDSP>(treatment_);
    state_->dsp->setSupported(processable(format));
    state_->dsp->prepare(format.sampleRate, format.channels);
    state_->analyzer.setRate(format.sampleRate);
    changeFrames_ = std::max(1, static_cast<int>(std::lround(changeSeconds * format.sampleRate)));
    changeDone_ = 0;
    dry_.assign(static_cast<std::size_t>(std::max(maxFrames, 1)) *
                    static_cast<std::size_t>(std::max(format.channels, 1)),
                0.0f);
}

void LiveVoiceTap::process(AudioBufferList& list, int frames)
{
    LiveTapState& state = *state_;
    if (!state.dsp->supported() || frames <= 0)
        return;
    ScopedDenormalsOff denormals;
    beginPendingChange();
    int done = 0;
    if (state.outgoing)
        done = crossfade(list, frames);
    if (done < frames && state.dsp->enabled()) {
        AudioBufferList rest = from(list, done);
        state.dsp->process(rest, frames - done);
    }
    state.analyzer.process(list, frames);
}

void LiveVoiceTap::beginPendingChange()
{
    LiveTapState& state = *state_;
    if (state.outgoing)
        return;
    VoiceDSP* next = pending_.exchange(nullptr, std::memory_order_acq_rel);
    if (!next)
        return;
    next->continueFrom(*state.dsp);
    state.outgoing = std::move(state.dsp);
    state.dsp.reset(next);
    changeDone_ = 0;
}

// Runs the old and the new treatment on the same input and moves linearly from the old output
// to the new one. Returns the frames done: up to the end of the crossfade or of the block.
int LiveVoiceTap::crossfade(AudioBufferList& list, int frames)
{
    LiveTapState& state = *state_;
    const int chunk =
        std::max(1, static_cast<int>(dry_.size()) / std::max(list.totalChannels(), 1));
    int done = 0;
    while (done < frames) {
        if (changeDone_ >= changeFrames_) {
            retireOutgoing();
            break;
        }
        const int count = std::min({chunk, frames - done, changeFrames_ - changeDone_});
        AudioBufferList wet = from(list, done);
        AudioBufferList dry;
        std::size_t used = 0;
        for (int b = 0; b < wet.count; ++b) {
            const AudioBuffer& buffer = wet.buffers[b];
            float* copy = buffer.data ? dry_.data() + used : nullptr;
            if (copy) {
                const auto samples = static_cast<std::size_t>(count * buffer.channels);
                std::copy_n(buffer.data, samples, copy);
                used += samples;
            }
            dry.add({buffer.channels, copy});
        }
        if (state.dsp->enabled())
            state.dsp->process(wet, count);
        if (state.outgoing->enabled())
            state.outgoing->process(dry, count);
        for (int b = 0; b < wet.count; ++b) {
            float* to = wet.buffers[b].data;
            const float* old = dry.buffers[b].data;
            const int channels = wet.buffers[b].channels;
            if (!to)
                continue;
            for (int f = 0; f < count; ++f) {
                const float toNew = static_cast<float>(changeDone_ + f + 1) / changeFrames_;
                for (int c = 0; c < channels; ++c) {
                    const int i = f * channels + c;
                    to[i] = old[i] + toNew * (to[i] - old[i]);
                }
            }
        }
        done += count;
        changeDone_ += count;
    }
    return done;
}

void LiveVoiceTap::retireOutgoing()
{
    for (auto& slot : retired_) {
        VoiceDSP* empty = nullptr;
        if (slot.compare_exchange_strong(empty, state_->outgoing.get(),
                                         std::memory_order_release)) {
            (void)state_->outgoing.release();
            return;
        }
    }
    // Every slot still waits for the main thread: the faded-out processor stays, unused, and the
    // next change waits, until one frees.
}

Result<std::shared_ptr<ProcessingTap>> liveVoiceTap(const VoiceTreatment& treatment,
                                                    const std::string& source)
{
    return liveVoiceTap(treatment, source, SpectrumMonitor::shared());
}

Result<std::shared_ptr<ProcessingTap>>
liveVoiceTap(const VoiceTreatment& treatment, const std::string& source, SpectrumMonitor& monitor)
{
    try {
        return std::shared_ptr<ProcessingTap>(
            std::make_shared<LiveVoiceTap>(treatment, source, monitor));
    } catch (const std::bad_alloc&) {
        return Error{ErrorDomain::system, ENOMEM,
                     "No se pudo activar el procesamiento de voz en tiempo real."};
    }
}

} // namespace tw
