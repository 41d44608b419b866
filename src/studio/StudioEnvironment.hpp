// Everything the Studio needs from outside, injected so that a test builds a working Studio with
// fakes (virtual time, scripted dialogs, settings in memory, a fixed device list, a simulated
// microphone).
#pragma once

#include "audio/AudioOutput.hpp"
#include "capture/DiskRecorder.hpp"

#include <functional>
#include <memory>

namespace tw {

class Scheduler;
class StudioHost;
class SettingsStore;
class DeviceCatalog;

struct StudioEnvironment {
    Scheduler& scheduler;    // every delay and repeating clock of the Studio
    StudioHost& host;        // dialogs and the microphone permission
    SettingsStore& settings; // "lastProject"
    DeviceCatalog& devices;  // the capture sources
    // A new input for each take of the recorder (the sound server's in the app).
    DiskRecorder::InputFactory makeInput;
    // How the recorder creates take files; empty for the ordinary CAF writer.
    DiskRecorder::WriterFactory makeWriter = {};
    // A new output for each playback (the sound server's in the app); empty for the sound
    // server's.
    std::function<std::unique_ptr<AudioOutput>()> makeOutput = {};
};

// The input factory of the application: capture from the sound server.
DiskRecorder::InputFactory soundServerInputs();
// The output factory of the application: playback through the sound server.
std::unique_ptr<AudioOutput> soundServerOutput();

} // namespace tw
