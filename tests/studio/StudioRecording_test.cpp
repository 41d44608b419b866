#include "studio/Studio.hpp"

#include "support/HookedWriter.hpp"
#include "support/StudioFixture.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

namespace tw {
namespace {

using testing::countFiles;
using testing::noPendingTake;
using testing::readProject;
using ::testing::StartsWith;
using testing::StudioFixture;

constexpr double rate = 48000.0;
const std::string startFailed = "No se pudo iniciar la grabación. Comprueba la entrada de audio y "
                                "que la carpeta del proyecto permita guardar. Detalle: ";
const Error diskFull{"System", 28, "No queda espacio en el dispositivo"};

// A microphone at a real one's pace that never ends, in small pieces.
void endlessMicrophone(StudioFixture& f)
{
    f.inputOptions.pace = SimulatedAudioInput::Pace::realTime;
    f.inputOptions.length = -1;
    f.inputOptions.pieceFrames = 480;
}

TEST(StudioRecording,
     stopDuringTheCountdownWritesNothingATakeIsOneUndoStepAndAPausedOneOutlivesALostInput)
{
    StudioFixture f;
    const auto folder = f.newProject();
    f.studio.position = 3.0;
    f.studio.record();
    f.scheduler.advance(1.5);
    f.studio.stop();
    f.scheduler.advance(5.0);
    EXPECT_FALSE(f.studio.recording() || f.studio.countdown() || f.studio.busy());
    EXPECT_EQ(f.inputsMade, 0);
    EXPECT_TRUE(f.studio.undoStack->empty());
    EXPECT_TRUE(noPendingTake(f.saved()));
    EXPECT_EQ(countFiles(folder / "Media", ""), 0);

    // Record pressed during the count-in or the take neither restarts it nor starts another.
    const int asked = f.host.microphoneRequests;
    f.studio.selectedDevice = 22u;
    f.studio.record();
    f.scheduler.advance(0.5);
    f.studio.record();
    f.scheduler.advance(1.0);
    f.studio.record();
    EXPECT_EQ(f.host.microphoneRequests, asked + 1);
    EXPECT_EQ(f.studio.countdown(), 2);
    f.scheduler.advance(1.5);
    ASSERT_TRUE(f.studio.recording());
    EXPECT_EQ(f.lastInput->openedSource(), 22u);
    f.studio.record();
    f.studio.checkpoint(); // a control touched during the take
    ASSERT_TRUE(f.recordUntil(2.0));
    ASSERT_TRUE(f.finishTake());
    EXPECT_EQ(f.inputsMade, 1);
    const std::vector<Segment> clips = f.studio.project->segments;
    ASSERT_EQ(clips.size(), 1u);

    // The take is one undo step, and undo never brings back its pending mark.
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
    f.studio.undo();
    f.studio.redo();
    EXPECT_EQ(f.studio.project->segments, clips);
    f.studio.undo();
    EXPECT_FALSE(f.saved().recordingPending);
    ASSERT_TRUE(f.openAndWait(folder));
    EXPECT_FALSE(f.studio.message());
    EXPECT_TRUE(f.studio.project->segments.empty());

    // A take at 12.5 s of 4.2 s (at 48 kHz) ends the play head at 16.7 s.
    f.inputOptions.length = 201600;
    // More than the recorder's 32 buffers in flight: as fast as possible they could outrun the
    // disk.
    f.inputOptions.pace = SimulatedAudioInput::Pace::realTime;
    f.studio.position = 12.5;

    f.studio.record();
    for (int count : {3, 2, 1}) {
        EXPECT_EQ(f.studio.countdown(), count);
        EXPECT_TRUE(f.studio.busy() && !f.studio.recording());
        f.scheduler.advance(1.0);
    }
    ASSERT_TRUE(f.studio.recording());
    EXPECT_FALSE(f.studio.countdown() || f.studio.busy() || f.studio.recordTask);
    EXPECT_EQ(f.studio.undoStack->size(), 1u);

    // The pending mark was on disk before the first sample.
    const PodcastProject pending = readProject(folder);
    EXPECT_TRUE(pending.recordingPending);
    EXPECT_EQ(pending.pendingStart, 12.5);
    const std::string name = pending.pendingVoiceFile.value();
    EXPECT_TRUE(name.starts_with("Media/voice-") && name.ends_with(".caf")) << name;

    ASSERT_TRUE(f.recordUntil(4.2));
    EXPECT_NEAR(f.studio.position(), 16.7, 1e-9);
    EXPECT_GT(f.studio.meter(), 0.0f);
    const Uuid clipID = f.studio.liveClipID;
    f.studio.stop();
    EXPECT_EQ(f.studio.meter(), 0.0f);
    ASSERT_TRUE(f.waitIdle());
    EXPECT_NEAR(f.studio.position(), 16.7, 1e-9);
    const std::optional<Segment> take = f.studio.project->segment(14);
    ASSERT_TRUE(take);
    EXPECT_EQ(std::tuple(take->file, take->id, take->timelineStart),
              std::tuple(name, clipID, 12.5));
    EXPECT_NEAR(take->duration, 4.2, 1e-12);
    EXPECT_TRUE(noPendingTake(f.saved()));

    // A paused take outlives a failed resume and a lost input; a lost running input ends it.
    endlessMicrophone(f);
    // Loud enough for the peak warning: 0.95 of full scale.
    f.inputSignal = [](std::int64_t frame, int) {
        return 0.95f * static_cast<float>(std::sin(2 * M_PI * 1000.0 * frame / 48000.0));
    };
    ASSERT_TRUE(f.startTake());
    SimulatedAudioInput* input = f.lastInput;
    input->waitForFrames(4800);
    ASSERT_TRUE(f.catalog.changeHandler);
    f.catalog.changeHandler(); // a device list change ends nothing
    // Each tick shows what the take hears (time stands still, so its analysis stays fresh), and
    // a paused take is not heard at the next tick.
    const std::vector<float> silentBars(24, 0.0f);
    ASSERT_TRUE(f.waitUntil([&] {
        f.studio.tick();
        return f.studio.peakWarning();
    }));
    EXPECT_GT(f.studio.vuLevels()[0], 0.5f);
    EXPECT_NE(f.studio.spectrumBars(), silentBars);
    f.studio.pauseTransport();
    EXPECT_FALSE(input->isRunning());
    f.studio.tick();
    EXPECT_EQ(f.studio.vuLevels(), (std::vector<float>{0, 0}));
    EXPECT_FALSE(f.studio.peakWarning());
    EXPECT_EQ(f.studio.spectrumBars(), silentBars);
    const std::int64_t beforeResume = input->framesDelivered();
    input->failNextResume(Error{"System", 6, "La entrada no responde."});
    f.studio.pauseTransport();
    EXPECT_EQ(f.studio.message(), "La entrada no responde.");
    EXPECT_TRUE(f.studio.recordingPaused() && f.studio.recording());
    EXPECT_FALSE(input->isRunning());
    f.studio.message = std::nullopt; // each time, the user closes the alert
    f.studio.pauseTransport();
    EXPECT_FALSE(f.studio.recordingPaused());
    EXPECT_GE(input->waitForFrames(beforeResume + 4800), beforeResume + 4800);

    // An input lost while the take is paused ends nothing until resuming says, in Spanish, that
    // it is gone; the take can still be stopped and kept.
    f.studio.pauseTransport();
    input->disappear();
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    EXPECT_TRUE(f.studio.recording());
    EXPECT_FALSE(f.studio.message());
    f.studio.pauseTransport();
    EXPECT_EQ(f.studio.message(), "La entrada de audio ya no está disponible: se desconectó o el "
                                  "servidor de sonido se detuvo. Detén la grabación para conservar "
                                  "lo grabado.");
    EXPECT_TRUE(f.studio.recordingPaused());
    f.studio.stop();
    ASSERT_TRUE(f.waitIdle());
    ASSERT_EQ(f.studio.project->resolvedSegments().size(), 2u);
    EXPECT_GE(f.studio.project->resolvedSegments()[1].duration, (beforeResume + 4800) / rate);
    f.studio.message = std::nullopt;

    // A running input that goes away ends the take, which is kept.
    ASSERT_TRUE(f.startTake());
    const double start = *f.studio.project->pendingStart;
    f.lastInput->waitForFrames(4800);
    f.lastInput->disappear();
    ASSERT_TRUE(f.waitUntil([&] { return !f.studio.recording(); }));
    EXPECT_EQ(f.studio.message(),
              "El micrófono se desconectó o cambió de formato y detuvo la captura. Se ha "
              "conservado la grabación disponible. Selecciona la entrada y vuelve a grabar.");
    ASSERT_TRUE(f.waitIdle());
    const auto segments = f.studio.project->resolvedSegments();
    ASSERT_EQ(segments.size(), 3u);
    EXPECT_EQ(segments[2].timelineStart, start);
    EXPECT_GE(segments[2].duration, 0.1);
}

TEST(StudioRecording, aTakeThatCannotStartLeavesNoPendingTakeAndNoFileAndAFailedWriteStopsIt)
{
    StudioFixture f;
    const auto folder = f.newProject();
    f.host.microphoneAllowed = false;
    EXPECT_FALSE(f.startTake());
    EXPECT_EQ(f.studio.message(),
              "Permite el micrófono en la configuración de privacidad del sistema.");
    EXPECT_FALSE(f.studio.busy() || f.studio.countdown());

    // An input that cannot be opened: the pending mark is taken back and saved.
    f.studio.message = std::nullopt; // each time, the user closes the alert
    f.host.microphoneAllowed = true;
    f.studio.selectedDevice = 99u;
    f.inputOptions.format.channels = 0;
    EXPECT_FALSE(f.startTake());
    EXPECT_EQ(f.studio.message(), startFailed + "La entrada no tiene un formato de audio válido.");
    EXPECT_EQ(f.studio.undoStack->size(), 1u); // the checkpoint stays
    EXPECT_TRUE(noPendingTake(f.saved()));

    // A start that made its file and then failed (a full disk) leaves no empty take behind.
    f.inputOptions.format.channels = 1;
    f.writerFactory = [](const std::filesystem::path& path, double,
                         int) -> Result<std::unique_ptr<CafWriter>> {
        testing::writeFile(path, "");
        return diskFull;
    };
    EXPECT_FALSE(f.startTake());
    EXPECT_EQ(countFiles(folder / "Media", "voice-"), 0);

    // Nor does one whose pending mark cannot be written, though Media can be: it never starts.
    f.writerFactory = {};
    f.settle(); // a save still in flight would put project.json back
    std::filesystem::remove(folder / "project.json");
    std::filesystem::create_directories(folder / "project.json" / "x");
    const int inputs = f.inputsMade;
    f.studio.message = std::nullopt;
    EXPECT_FALSE(f.startTake() || f.studio.busy() || f.studio.project->recordingPending);
    EXPECT_EQ(f.inputsMade, inputs);
    EXPECT_THAT(f.studio.message().value_or(""),
                StartsWith(startFailed + "No se pudo guardar el proyecto: "));

    // A write failure stops the take and keeps what was written. The failed start's own save
    // lands first, so that its message comes before this take.
    f.settle();
    std::filesystem::remove_all(folder / "project.json");
    f.studio.message = std::nullopt;
    // At real-time pace the take is surely running when the countdown ends; as fast as possible,
    // the failing write could already be polled by the tick that ends the countdown.
    f.inputOptions.pace = SimulatedAudioInput::Pace::realTime;
    auto writes = std::make_shared<std::atomic<int>>(0);
    f.writerFactory = testing::hookedWriters({.before = [writes]() -> std::optional<Error> {
        if ((*writes)++ >= 10)
            return diskFull;
        return std::nullopt;
    }});
    ASSERT_TRUE(f.startTake());
    const std::string name = *f.studio.project->pendingVoiceFile;
    // The document cannot be saved either: that consequence comes after the cause.
    f.settle();
    std::filesystem::rename(folder / "project.json", f.temp / "aside.json");
    std::filesystem::create_directories(folder / "project.json" / "x");

    ASSERT_TRUE(f.waitUntil([&] {
        f.scheduler.advance(0.1);
        return !f.studio.recording();
    }));
    ASSERT_TRUE(f.waitIdle());
    f.settle();
    EXPECT_THAT(f.studio.message().value_or(""),
                StartsWith("La grabación se detuvo: No queda espacio en el dispositivo\n"
                           "No se pudo guardar el proyecto: "));
    std::filesystem::remove_all(folder / "project.json");
    f.studio.save();
    const std::optional<Segment> take = f.studio.project->segment(0.5);
    ASSERT_TRUE(take);
    EXPECT_EQ(take->file, name);
    constexpr int written = 10 * DiskRecorder::bufferFrames; // ten buffers
    EXPECT_NEAR(take->duration, written / rate, 1e-12);
    EXPECT_FALSE(f.saved().recordingPending);
}

} // namespace
} // namespace tw
