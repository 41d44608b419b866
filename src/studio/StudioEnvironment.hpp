// Everything the Studio needs from outside, injected so that a test builds a working Studio with
// fakes (virtual time, scripted dialogs, settings in memory, a fixed device list, a simulated
// microphone).
#pragma once

#include "capture/DiskRecorder.hpp"

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
};

// The input factory of the application: capture from the sound server.
DiskRecorder::InputFactory soundServerInputs();

} // namespace tw
