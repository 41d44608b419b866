// Everything the Studio needs from outside, injected so that a test builds a working Studio with
// fakes (virtual time, scripted dialogs, settings in memory, a fixed device list).
#pragma once

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
};

} // namespace tw
