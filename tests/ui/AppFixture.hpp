// The whole application on fakes: virtual time, scripted dialogs, settings in memory, a simulated
// microphone at the pace of a real one (a 440 Hz tone for 30 s) and simulated outputs that play
// only when a test advances them.
#pragma once

#include "audio/SimulatedAudioInput.hpp"
#include "audio/SimulatedAudioOutput.hpp"
#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"
#include "ui/TapewrightApp.hpp"
#include "ui/UiApplication.hpp"

#include <cmath>

namespace tw::testing {

struct AppFixture {
    QApplication& application = uiApplication();
    ManualScheduler scheduler{freshVirtualTime()};
    FakeStudioHost host;
    MemorySettingsStore settings;
    FakeDeviceCatalog catalog;
    TempFolder temp;
    // The output of the latest playback (its player owns it).
    SimulatedAudioOutput* lastOutput = nullptr;
    TapewrightApp app{StudioEnvironment{
        scheduler,
        host,
        settings,
        catalog,
        [] {
            return std::make_unique<SimulatedAudioInput>(
                SimulatedAudioInput::Options{{48000, 1, SampleType::float32, true},
                                             4800,
                                             SimulatedAudioInput::Pace::realTime,
                                             48000 * 30},
                [](std::int64_t frame, int) {
                    return 0.5f * static_cast<float>(std::sin(2 * M_PI * 440.0 * frame / 48000.0));
                });
        },
        {},
        [this] {
            auto output = std::make_unique<SimulatedAudioOutput>();
            lastOutput = output.get();
            return output;
        }}};
    Studio& studio = app.studio();

    ~AppFixture()
    {
        waitUntil([this] { return !studio.busy(); });
        studio.flushSaves();
        QCoreApplication::processEvents();
    }

    // Runs the event loop until condition holds; false after ten seconds of wall time.
    template <class Condition> bool waitUntil(Condition condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            QCoreApplication::processEvents();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return true;
    }

    std::filesystem::path newProject(const std::string& name)
    {
        const auto folder = temp / name;
        host.newProjectAnswers.push_back(folder);
        EXPECT_TRUE(studio.newProject());
        return folder;
    }

    // A project folder on disk that was never opened here, its music at half volume.
    std::filesystem::path savedProject(const std::string& name)
    {
        const auto folder = temp / name;
        PodcastProject document;
        document.musicVolume = 0.5f;
        writeProject(folder, document);
        return folder;
    }
};

} // namespace tw::testing
