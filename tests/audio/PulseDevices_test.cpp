// The PulseAudio capture, playback and source list on the rig's private server, and what each of
// them does when a source or the whole server goes away.
#include "audio/Denormals.hpp"
#include "audio/PulseAudioInput.hpp"
#include "audio/PulseAudioOutput.hpp"
#include "audio/PulseDeviceCatalog.hpp"
#include "audio/RealtimeThread.hpp"

#include "PulseRig.hpp"
#include "support/CapturedAudio.hpp"

#include <algorithm>
#include <atomic>
#include <mutex>

#include <sched.h>

using namespace tw;
using namespace std::chrono_literals;

namespace {

bool listed(const std::vector<CaptureSource>& sources, const std::string& name)
{
    return std::ranges::any_of(sources, [&](const CaptureSource& s) { return s.name == name; });
}

class PulseDevicesTest : public rig::PulseRigTest {
protected:
    // Opens a source in blocks of 4096 frames and starts; done once the first audio arrives.
    void start(std::uint32_t source)
    {
        input.setCaptureCallback(capture.callback());
        auto opened = input.open(source, 4096);
        ASSERT_TRUE(opened.ok()) << opened.error().description;
        format = opened.value();
        capture.channels = format.channels;
        EXPECT_FALSE(input.isRunning());
        ASSERT_TRUE(input.start().ok());
        EXPECT_TRUE(input.isRunning());
        ASSERT_TRUE(rig::eventually([&] { return capture.frames > 0; }));
    }

    rig::ScratchFolder folder;
    test::Capture capture;
    std::atomic<std::int64_t> rendered{0};
    std::atomic<bool> denormalsOff{false};
    std::atomic<bool> onCallerThread{false};
    std::atomic<int> policy{-1};
    const std::thread::id caller = std::this_thread::get_id();
    // After what their threads use (the members above), so that they stop first.
    PulseAudioInput input;
    PulseAudioOutput output;
    StreamFormat format;
};

} // namespace

// The server's default source (identifier zero, the rig's microphone) is recorded in its own
// format; a tone played while the capture is paused is never captured, not even once it resumes.
TEST_F(PulseDevicesTest, recordsAToneFromTheDefaultSourceInItsOwnFormatAndNothingWhilePaused)
{
    const auto sampleSpec = rig::sourceSpec(rig::micName);
    ASSERT_GT(sampleSpec.rate, 0);
    ASSERT_TRUE(rig::makeTone(folder.file("tone.wav"), 1000, 1.5));
    ASSERT_TRUE(rig::makeTone(folder.file("paused.wav"), 1500, 0.5));
    ASSERT_NO_FATAL_FAILURE(start(0));
    EXPECT_EQ(format, (StreamFormat{double(sampleSpec.rate), sampleSpec.channels,
                                    SampleType::float32, true}));
    EXPECT_EQ(input.format(), format);
    ASSERT_TRUE(input.setPaused(true).ok());
    EXPECT_FALSE(input.isRunning());
    ASSERT_TRUE(rig::play(folder.file("paused.wav")));
    ASSERT_TRUE(input.setPaused(false).ok());
    EXPECT_TRUE(input.isRunning());
    ASSERT_TRUE(rig::play(folder.file("tone.wav")));
    // The server has played the tone; the capture thread hands it over when it gets to run.
    EXPECT_TRUE(rig::eventually([&] {
        std::lock_guard lock(capture.mutex);
        return rig::heardToItsEnd(rig::channel(capture.samples, capture.channels, 0),
                                  sampleSpec.rate);
    }));
    input.stop();
    EXPECT_FALSE(input.isRunning());
    // Pausing a stopped input does nothing.
    EXPECT_TRUE(input.setPaused(true).ok());
    EXPECT_FALSE(input.isRunning());

    std::lock_guard lock(capture.mutex);
    EXPECT_EQ(capture.badBuffers, 0);
    // Whatever pieces the server handed over, the capture came in the blocks asked for; only the
    // ones handed over at the pause and at the stop may be shorter.
    ASSERT_FALSE(capture.sizes.empty());
    EXPECT_LE(std::ranges::count_if(capture.sizes, [](int n) { return n != 4096; }), 2);
    EXPECT_LE(std::ranges::max(capture.sizes), 4096);
    EXPECT_NE(capture.thread, std::this_thread::get_id());
    EXPECT_TRUE(capture.denormalsOff);
    EXPECT_GE(capture.frames, static_cast<std::int64_t>(1.5 * sampleSpec.rate));
    // Only the tone: the one played while paused would have made it longer and lower.
    for (int c = 0; c < capture.channels; ++c) {
        auto heard = rig::loudPart(rig::channel(capture.samples, capture.channels, c));
        EXPECT_NEAR(static_cast<double>(heard.size()) / sampleSpec.rate, 1.5, 0.05) << c;
        EXPECT_NEAR(rig::zeroCrossingFrequency(heard, sampleSpec.rate), 1000, 10);
        EXPECT_NEAR(*std::ranges::max_element(heard), 0.5, 0.05) << "the level it was played at";
    }
}

// A microphone plugged in shows in the list by its description (monitors never do); unplugged
// while it records, it leaves the list and ends the capture with a reason in Spanish.
TEST_F(PulseDevicesTest, aSourceThatComesIsListedAndOneThatGoesDuringCaptureIsAConfigurationChange)
{
    PulseDeviceCatalog catalog;
    std::atomic<int> listChanges{0}, inputChanges{0};
    std::atomic<bool> sawProbe{false}, runningInHandler{true};
    // The handler may read the catalog again (the studio refreshes its list there).
    catalog.setChangeHandler([&] {
        sawProbe = listed(catalog.sources(), "tw_probe");
        ++listChanges;
    });
    input.setConfigurationChangeHandler([&] {
        runningInHandler = input.isRunning();
        ++inputChanges;
    });
    rig::ExtraMicrophone probe("tw_probe");
    ASSERT_TRUE(probe.loaded());
    EXPECT_TRUE(rig::eventually([&] { return sawProbe.load(); }));
    const auto sources = catalog.sources();
    ASSERT_TRUE(listed(sources, rig::micName));
    for (const auto& source : sources) {
        EXPECT_NE(source.id, 0u);
        EXPECT_EQ(source.id, captureSourceId(source.name));
        EXPECT_EQ(source.name.find(".monitor"), std::string::npos) << source.name;
        if (source.name == rig::micName || source.name == "tw_probe") {
            EXPECT_EQ(source.description,
                      source.name == rig::micName ? "Micrófono virtual" : "Sonda");
        }
    }
    ASSERT_NO_FATAL_FAILURE(start(captureSourceId("tw_probe")));
    EXPECT_EQ(inputChanges, 0);

    const int before = listChanges;
    probe.unload();
    ASSERT_TRUE(rig::eventually([&] { return inputChanges > 0; }));
    EXPECT_TRUE(rig::eventually([&] { return listChanges > before && !sawProbe; }));
    EXPECT_FALSE(listed(catalog.sources(), "tw_probe"));
    EXPECT_FALSE(runningInHandler);
    EXPECT_FALSE(input.isRunning());
    // The stream is gone: it cannot be resumed, and the user is told why in their language.
    auto resumed = input.setPaused(false);
    ASSERT_FALSE(resumed.ok());
    EXPECT_EQ(resumed.error().description,
              AudioInputErrors::sourceLost(resumed.error().code).description);
    input.stop();
    // And the source cannot be opened any more.
    auto gone = input.open(captureSourceId("tw_probe"), 4096);
    ASSERT_FALSE(gone.ok());
    EXPECT_EQ(gone.error().description, "No se pudo activar la entrada seleccionada.");
}

TEST_F(PulseDevicesTest, aServerThatGoesAwayIsAChangeForEveryClientAndTheNextOutputPlaysOnItsThread)
{
    // A second private server of its own, so that stopping it leaves the shared rig alone.
    rig::PrivateServer server;
    ASSERT_TRUE(server.started()) << server.startOutput();
    std::optional<PulseDeviceCatalog> catalog;
    std::atomic<int> inputChanges{0}, outputChanges{0}, catalogChanges{0};
    std::atomic<bool> runningInHandler{false};
    input.setConfigurationChangeHandler([&] {
        runningInHandler = runningInHandler || input.isRunning();
        ++inputChanges;
    });
    // The output renders silence (what it plays is heard in the studio's playback tests) and
    // notes where and how it is called.
    output.setRenderCallback([this](float* interleaved, int frames) {
        denormalsOff = ScopedDenormalsOff::active();
        policy = sched_getscheduler(0);
        onCallerThread = onCallerThread || std::this_thread::get_id() == caller;
        std::fill_n(interleaved, 2 * frames, 0.0f);
        rendered += frames;
    });
    output.setConfigurationChangeHandler([&] {
        runningInHandler = runningInHandler || output.isRunning();
        ++outputChanges;
    });
    {
        rig::ServerOverride use(server.address());
        catalog.emplace();
        catalog->setChangeHandler([&] { ++catalogChanges; });
        EXPECT_TRUE(listed(catalog->sources(), rig::micName));
        ASSERT_NO_FATAL_FAILURE(start(captureSourceId(rig::micName)));
        ASSERT_TRUE(output.open(StreamFormat{}).ok());
    }
    ASSERT_TRUE(output.start().ok());
    ASSERT_TRUE(rig::eventually([&] { return rendered > 0; }));
    EXPECT_EQ(inputChanges + outputChanges, 0);

    server.stop();
    ASSERT_TRUE(rig::eventually(
        [&] { return inputChanges > 0 && outputChanges > 0 && catalogChanges > 0; }));
    EXPECT_FALSE(runningInHandler);
    EXPECT_FALSE(input.isRunning());
    EXPECT_FALSE(output.isRunning());
    EXPECT_FALSE(output.start().ok());
    input.stop();
    output.close();
    {
        // While no server answers, the list is empty and nothing opens, without hanging.
        rig::ServerOverride use(server.address());
        EXPECT_TRUE(catalog->sources().empty());
        auto none = input.open(0, 4096);
        ASSERT_FALSE(none.ok());
        EXPECT_EQ(none.error().description, "No se pudo activar la entrada seleccionada.");
    }

    // The shared rig answers the next time: new streams are made there.
    EXPECT_TRUE(listed(catalog->sources(), rig::micName));
    ASSERT_TRUE(input.open(captureSourceId(rig::micName), 4096).ok());
    EXPECT_TRUE(input.start().ok());
    input.stop();
    // The output renders on its own thread and its play head moves while it plays only.
    rendered = 0;
    denormalsOff = false;
    auto opened = output.open(StreamFormat{});
    ASSERT_TRUE(opened.ok()) << opened.error().description;
    EXPECT_EQ(opened.value(), (StreamFormat{48000, 2, SampleType::float32, true}));
    // Nothing is heard before start (the server's interpolated timing may say a few ms under load).
    EXPECT_LT(output.framesPlayed(), 480);

    ASSERT_TRUE(output.start().ok());
    ASSERT_TRUE(rig::eventually([&] { return output.framesPlayed() > 48000 / 10; }));
    EXPECT_LE(output.framesPlayed(), rendered.load()) << "never more than was rendered";
    EXPECT_NEAR(output.playedTime(), static_cast<double>(output.framesPlayed()) / 48000, 0.05);
    EXPECT_GT(output.latency(), 0.0);
    EXPECT_LT(output.latency(), 0.5);
    EXPECT_TRUE(denormalsOff);
    EXPECT_FALSE(onCallerThread);
    // Realtime wherever this machine allows a thread to ask for it.
    bool permitted = false;
    std::thread([&] { permitted = requestRealtimeScheduling(); }).join();
    if (permitted) {
        EXPECT_EQ(policy, SCHED_RR);
    }

    ASSERT_TRUE(output.pause().ok());
    auto paused = output.framesPlayed();
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(output.framesPlayed(), paused);
    // A flush drops what was queued; the play head does not jump back.
    ASSERT_TRUE(output.flush().ok());
    EXPECT_GE(output.framesPlayed(), paused);
    ASSERT_TRUE(output.start().ok());
    EXPECT_TRUE(rig::eventually([&] { return output.framesPlayed() > paused + 4800; }));
    output.close();
    EXPECT_FALSE(output.isRunning());
}
