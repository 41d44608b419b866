// A working Studio on fakes in one line: virtual time, scripted dialogs, settings in memory, a
// fixed list of capture sources and a simulated microphone; plus ways to wait for its background
// jobs and count its notifications.
#pragma once

#include "audio/DeviceCatalog.hpp"
#include "audio/Player.hpp"
#include "audio/SimulatedAudioInput.hpp"
#include "audio/SimulatedAudioOutput.hpp"
#include "base/ManualScheduler.hpp"
#include "base/SettingsStore.hpp"
#include "studio/Studio.hpp"
#include "support/FakeStudioHost.hpp"

#include <QCoreApplication>

#include <chrono>
#include <cmath>
#include <map>
#include <mutex>
#include <thread>

namespace tw::testing {

// The Qt application the hand-offs to the main thread need; made once per test program, on the
// thread that runs the tests.
inline QCoreApplication& coreApplication()
{
    static int argc = 1;
    static char name[] = "tapewright-tests";
    static char* argv[] = {name, nullptr};
    static QCoreApplication* application =
        QCoreApplication::instance() ? nullptr : new QCoreApplication(argc, argv);
    (void)application;
    return *QCoreApplication::instance();
}

class FakeDeviceCatalog final : public DeviceCatalog {
public:
    std::vector<CaptureSource> list{{11, "usb-mic", "Micrófono USB"},
                                    {22, "headset", "Auriculares con micrófono"}};
    std::vector<CaptureSource> sources() override { return list; }
    void setChangeHandler(std::function<void()> handler) override { changeHandler = handler; }
    std::function<void()> changeHandler;
};

// Each fixture's virtual time starts far beyond the previous one's, so that levels a test left in
// the shared spectrum monitor are stale for the next test instead of looking fresh.
inline double freshVirtualTime()
{
    static double next = 1000.0;
    const double start = next;
    next += 100000.0;
    return start;
}

// Runs the event loop with the scheduler's virtual time following the wall clock until condition
// holds or seconds have passed; whether it held. For tests against real devices.
template <class Condition>
bool runWithWallClock(ManualScheduler& scheduler, double seconds, Condition condition)
{
    const auto start = std::chrono::steady_clock::now();
    auto last = start;
    for (;;) {
        QCoreApplication::processEvents();
        if (condition())
            return true;
        const auto now = std::chrono::steady_clock::now();
        if (now - start > std::chrono::duration<double>(seconds))
            return false;
        scheduler.advance(std::chrono::duration<double>(now - last).count());
        last = now;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

struct StudioFixture {
    QCoreApplication& application = coreApplication();
    ManualScheduler scheduler{freshVirtualTime()};
    FakeStudioHost host;
    MemorySettingsStore settings;
    FakeDeviceCatalog catalog;

    // The microphone of the next take: a 440 Hz sine at half scale, 48 kHz mono, delivered as
    // fast as the recorder takes it, 2 s long. Tests change these before recording.
    SimulatedAudioInput::Options inputOptions{{48000, 1, SampleType::float32, true},
                                              4800,
                                              SimulatedAudioInput::Pace::asFastAsPossible,
                                              96000};
    SimulatedAudioInput::Signal inputSignal = [](std::int64_t frame, int) {
        return 0.5f * static_cast<float>(std::sin(2 * M_PI * 440.0 * frame / 48000.0));
    };
    // How take files are made; empty for the ordinary writer.
    DiskRecorder::WriterFactory writerFactory;
    // The input the recorder made last (it owns it; valid while that take runs).
    SimulatedAudioInput* lastInput = nullptr;
    int inputsMade = 0;
    // The output of the latest playback (the player owns it; valid while that player lives):
    // nothing plays until a test advances it.
    SimulatedAudioOutput* lastOutput = nullptr;
    int outputsMade = 0;

    Studio studio{StudioEnvironment{scheduler, host, settings, catalog,
                                    [this]() -> std::unique_ptr<AudioInput> {
                                        auto input = std::make_unique<SimulatedAudioInput>(
                                            inputOptions, inputSignal);
                                        lastInput = input.get();
                                        ++inputsMade;
                                        return input;
                                    },
                                    [this](const std::filesystem::path& path, double rate,
                                           int channels) -> Result<std::unique_ptr<CafWriter>> {
                                        if (writerFactory)
                                            return writerFactory(path, rate, channels);
                                        return CafWriter::create(path, rate, channels);
                                    },
                                    [this]() -> std::unique_ptr<AudioOutput> {
                                        auto output = std::make_unique<SimulatedAudioOutput>();
                                        lastOutput = output.get();
                                        ++outputsMade;
                                        return output;
                                    }}};
    std::map<StudioField, int> notifications;

    StudioFixture()
    {
        QObject::connect(&studio, &Studio::fieldChanged,
                         [this](StudioField field) { ++notifications[field]; });
    }
    ~StudioFixture()
    {
        // Let background jobs hand back (to a live Studio) before it goes.
        waitUntil([this] { return !studio.busy(); });
        studio.flushSaves();
        QCoreApplication::processEvents();
    }

    int count(StudioField field) const
    {
        auto found = notifications.find(field);
        return found == notifications.end() ? 0 : found->second;
    }

    // Runs the event loop until condition holds (background jobs hand back through it); false
    // after ten seconds of wall time, so a hang fails instead of blocking the suite.
    template <class Condition> bool waitUntil(Condition condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        for (;;) {
            QCoreApplication::processEvents();
            if (condition())
                return true;
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    bool waitIdle()
    {
        return waitUntil([this] { return !studio.busy(); });
    }
    // Every save queued so far is on disk and its result applied.
    void settle()
    {
        studio.flushSaves();
        QCoreApplication::processEvents();
    }
    // Plays seconds of the running playback: the output pulls the audio and the clock observer
    // follows, in steps of 0.05 s of virtual time. Each pull waits for the player's read-ahead,
    // as if the device played no faster than the machine decodes: a slow machine must not turn
    // into silence what a test hears.
    void play(double seconds)
    {
        for (double played = 0; played < seconds - 1e-9; played += 0.05) {
            if (studio.player && studio.playing())
                studio.player->waitForReadAhead();
            if (lastOutput)
                lastOutput->advance(2400);
            scheduler.advance(0.05);
            QCoreApplication::processEvents();
        }
    }
    // Opens folder and waits for its peak loading.
    bool openAndWait(const std::filesystem::path& folder)
    {
        studio.openProject(folder);
        return waitIdle();
    }
};

} // namespace tw::testing
