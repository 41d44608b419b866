#include "voice/LiveVoiceTap.hpp"

#include "audio/Denormals.hpp"
#include "voice/TreatmentValues.hpp"

#include <cerrno>
#include <new>

namespace tw {

LiveTapState::LiveTapState(const VoiceTreatment& treatment, const std::string& source,
                           SpectrumMonitor& monitor)
    : dsp(treatment)
    , analyzer(source, monitor)
{
}

LiveVoiceTap::LiveVoiceTap(const VoiceTreatment& treatment, const std::string& source,
                           SpectrumMonitor& monitor)
    : state_(std::make_unique<LiveTapState>(treatment, source, monitor))
    , treatmentEnabled_(enabled(treatment))
{
}

void LiveVoiceTap::prepare(int /*maxFrames*/, const StreamFormat& format)
{
    state_->dsp.setSupported(format.linearPcm && format.sampleType == SampleType::float32);
    state_->dsp.prepare(format.sampleRate, format.channels);
    state_->analyzer.setRate(format.sampleRate);
}

void LiveVoiceTap::process(AudioBufferList& list, int frames)
{
    if (!state_->dsp.supported())
        return;
    ScopedDenormalsOff denormals;
    if (treatmentEnabled_)
        state_->dsp.process(list, frames);
    state_->analyzer.process(list, frames);
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
