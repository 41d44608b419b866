// A working Studio on fakes in one line: virtual time, scripted dialogs, settings in memory, a
// fixed list of capture sources, a simulated microphone and outputs that play only when a test
// advances them; plus a project folder, the steps of a take, and ways to wait for background
// jobs and count notifications.
#pragma once

#include "audio/DeviceCatalog.hpp"
#include "audio/Player.hpp"
#include "audio/PulseDeviceCatalog.hpp"
#include "audio/SimulatedAudioInput.hpp"
#include "audio/SimulatedAudioOutput.hpp"
#include "base/ManualScheduler.hpp"
#include "base/SettingsStore.hpp"
#include "studio/Studio.hpp"
#include "studio/StudioHost.hpp"
#include "support/TempProject.hpp"
#include "support/TestApplication.hpp"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <deque>
#include <map>
#include <thread>

namespace tw::testing {

// A StudioHost whose dialogs answer from a script (an empty queue answers "cancelled") and
// remember how they were asked.
class FakeStudioHost final : public StudioHost {
public:
    using Choice = std::optional<std::filesystem::path>;
    using Answers = std::deque<Choice>;
    Answers newProjectAnswers, openAnswers, audioFileAnswers, exportAnswers;
    bool microphoneAllowed = true;
    std::string lastNewProjectTitle, lastNewProjectName, lastExportName;
    int newProjectRequests = 0, openRequests = 0, audioFileRequests = 0, exportRequests = 0,
        microphoneRequests = 0;

    Choice chooseNewProjectLocation(const std::string& title, const std::string& name) override
    {
        lastNewProjectTitle = title;
        lastNewProjectName = name;
        return next(newProjectRequests, newProjectAnswers);
    }
    Choice chooseProjectToOpen() override { return next(openRequests, openAnswers); }
    Choice chooseAudioFile() override { return next(audioFileRequests, audioFileAnswers); }
    Choice chooseExportDestination(const std::string& name) override
    {
        lastExportName = name;
        return next(exportRequests, exportAnswers);
    }
    void requestMicrophonePermission(std::function<void(bool)> answer) override
    {
        ++microphoneRequests;
        answer(microphoneAllowed);
    }

private:
    static Choice next(int& requests, Answers& answers)
    {
        ++requests;
        if (answers.empty())
            return std::nullopt;
        auto answer = answers.front();
        answers.pop_front();
        return answer;
    }
};

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

// Runs the event loop until condition holds; false after seconds of wall time, so that a hang
// fails instead of blocking the suite. With a scheduler, virtual time follows the wall clock.
template <class Condition>
bool runEventsUntil(Condition condition, double seconds = 10, ManualScheduler* scheduler = nullptr)
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
        if (scheduler)
            scheduler->advance(std::chrono::duration<double>(now - last).count());
        last = now;
        std::this_thread::sleep_for(std::chrono::milliseconds(scheduler ? 2 : 1));
    }
}

// The fakes and the steps a test takes with a Studio, whoever owns that Studio.
struct StudioFakes {
    ManualScheduler scheduler{freshVirtualTime()};
    FakeStudioHost host;
    MemorySettingsStore settings;
    FakeDeviceCatalog catalog;
    TempFolder temp;
    // Where newProject() and open() put the project.
    std::filesystem::path folder = temp / "Programa.podcastproject";

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

    StudioEnvironment environment()
    {
        return {scheduler,
                host,
                settings,
                catalog,
                [this]() -> std::unique_ptr<AudioInput> {
                    auto input = std::make_unique<SimulatedAudioInput>(inputOptions, inputSignal);
                    lastInput = input.get();
                    ++inputsMade;
                    return input;
                },
                [this](const std::filesystem::path& path, double rate,
                       int channels) -> Result<std::unique_ptr<CafWriter>> {
                    return writerFactory ? writerFactory(path, rate, channels)
                                         : CafWriter::create(path, rate, channels);
                },
                [this]() -> std::unique_ptr<AudioOutput> {
                    auto output = std::make_unique<SimulatedAudioOutput>();
                    lastOutput = output.get();
                    ++outputsMade;
                    return output;
                }};
    }

    // Runs the event loop until condition holds (background jobs hand back through it); false
    // after ten seconds of wall time.
    template <class Condition> bool waitUntil(Condition condition)
    {
        return runEventsUntil(condition);
    }
};

// The steps on the Studio that owner (a fixture deriving from this) holds as `studio`.
template <class Owner> struct StudioSteps {
    Studio& s() { return static_cast<Owner&>(*this).studio; }
    Owner& o() { return static_cast<Owner&>(*this); }

    bool waitIdle()
    {
        return o().waitUntil([this] { return !s().busy(); });
    }
    // Every save queued so far is on disk and its result applied.
    void settle()
    {
        s().flushSaves();
        QCoreApplication::processEvents();
    }
    // The document on disk once every save queued so far has landed.
    PodcastProject saved()
    {
        settle();
        return readProject(o().folder);
    }
    // Opens folder and waits for its peak loading.
    bool openAndWait(const std::filesystem::path& folder)
    {
        s().openProject(folder);
        return waitIdle();
    }
    // Writes document as the project in folder and opens it; whether it opened without a message.
    bool open(const PodcastProject& document)
    {
        s().flushSaves(); // no earlier save of the folder lands over the document
        writeProject(o().folder, document);
        return openAndWait(o().folder) && !s().message();
    }
    // A project folder on disk and a document of clips, as after opening (nothing loaded).
    void useFolder(std::vector<Segment> clips = {})
    {
        std::filesystem::create_directories(o().folder / "Media");
        s().folder = o().folder;
        PodcastProject document;
        document.segments = std::move(clips);
        s().project = document;
    }
    std::vector<Segment> clips() { return s().project->resolvedSegments(); }
    // Opens a project of one 440 Hz tone clip of the given length at 0 (Media/voice-1.wav).
    bool openTone(double seconds)
    {
        makeTone(o().folder / "Media" / "voice-1.wav", seconds, 440);
        PodcastProject document;
        document.segments = {placedClip(0, seconds, "Media/voice-1.wav")};
        return open(document);
    }
    // A new project in folder through the new-project dialog.
    std::filesystem::path newProject()
    {
        o().host.newProjectAnswers.push_back(o().folder);
        EXPECT_TRUE(s().newProject());
        return o().folder;
    }
    // record() through the count-in until the take runs.
    bool startTake()
    {
        s().record();
        o().scheduler.advance(3.0);
        return s().recording();
    }
    // Runs the studio clock until the take holds at least seconds of audio.
    bool recordUntil(double seconds)
    {
        return o().waitUntil([&] {
            o().scheduler.advance(0.1);
            return s().liveDuration >= seconds - 1e-9;
        });
    }
    // Stops the take and waits until it is in the document.
    bool finishTake()
    {
        s().stopRecording();
        return waitIdle();
    }
    // Plays seconds of the running playback: the output pulls the audio and the clock observer
    // follows, in steps of 0.05 s of virtual time. Each pull waits for the player's read-ahead,
    // as if the device played no faster than the machine decodes: a slow machine must not turn
    // into silence what a test hears.
    void play(double seconds)
    {
        for (double played = 0; played < seconds - 1e-9; played += 0.05) {
            if (s().player && s().playing())
                s().player->waitForReadAhead();
            if (o().lastOutput)
                o().lastOutput->advance(2400);
            o().scheduler.advance(0.05);
            QCoreApplication::processEvents();
        }
    }
    // Starts playback and waits until the player runs.
    bool startPlayback()
    {
        s().togglePlayback();
        return waitIdle() && s().playing();
    }
    // Plays until playback stops by itself (at most limit seconds).
    void playUntilStopped(double limit)
    {
        for (double played = 0; played < limit && s().playing(); played += 0.05)
            play(0.05);
    }
    // Background jobs hand back (to a live Studio) before it goes.
    void finish()
    {
        waitIdle();
        settle();
    }
};

// A Studio on the sound server, its inputs, output and device list, with virtual time, scripted
// dialogs and settings in memory, for the device tests. Its waits run the clock with the wall
// clock for half a minute at most: a hang fails, a slow machine does not.
struct SoundServerStudio : StudioSteps<SoundServerStudio> {
    QCoreApplication& application = coreApplication();
    TempFolder temp;
    // Where newProject() puts the project.
    std::filesystem::path folder = temp / "Programa.podcastproject";
    ManualScheduler scheduler{freshVirtualTime()};
    FakeStudioHost host;
    MemorySettingsStore settings;
    PulseDeviceCatalog catalog;
    Studio studio{StudioEnvironment{
        scheduler, host, settings, catalog, soundServerInputs(), {}, soundServerOutput}};

    ~SoundServerStudio() { finish(); }
    template <class Condition> bool runUntil(Condition condition)
    {
        return runEventsUntil(condition, 30, &scheduler);
    }
    template <class Condition> bool waitUntil(Condition condition) { return runUntil(condition); }
};

struct StudioFixture : StudioFakes, StudioSteps<StudioFixture> {
    QCoreApplication& application = coreApplication();
    Studio studio{environment()};
    std::map<StudioField, int> notifications;

    StudioFixture()
    {
        QObject::connect(&studio, &Studio::fieldChanged,
                         [this](StudioField field) { ++notifications[field]; });
    }
    ~StudioFixture() { finish(); }

    int count(StudioField field) { return notifications[field]; }
    // How many saves have landed once seconds more of virtual time went by.
    int savesAfter(double seconds)
    {
        scheduler.advance(seconds);
        settle();
        return count(StudioField::lastSaved);
    }
};

} // namespace tw::testing
