// The application's audio factories: capture from and playback through the sound server.
#include "studio/StudioEnvironment.hpp"

#include "audio/PulseAudioInput.hpp"
#include "audio/PulseAudioOutput.hpp"

namespace tw {

DiskRecorder::InputFactory soundServerInputs()
{
    return [] { return std::make_unique<PulseAudioInput>(); };
}

std::unique_ptr<AudioOutput> soundServerOutput()
{
    return std::make_unique<PulseAudioOutput>();
}

} // namespace tw
