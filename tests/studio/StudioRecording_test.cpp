#include "studio/Studio.hpp"

#include "audio/AudioFileReader.hpp"
#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <regex>

namespace tw {
namespace {

using testing::countFiles;
using testing::readProject;
using ::testing::StartsWith;
using testing::StudioFixture;
using testing::TempFolder;

constexpr double rate = 48000.0;
const char* const startFailed = "No se pudo iniciar la grabación. Comprueba la entrada de audio y "
                                "que la carpeta del proyecto permita guardar. Detalle: ";

// A project folder made through the new-project dialog.
std::filesystem::path startProject(StudioFixture& f, const TempFolder& temp)
{
    const auto folder = temp / "Programa.podcastproject";
    f.host.newProjectAnswers.push_back(folder);
    EXPECT_TRUE(f.studio.newProject());
    return folder;
}

// Runs the clock until the polled take reaches seconds (the input and the writer run on their
// own threads).
bool recordUntil(StudioFixture& f, double seconds)
{
    return f.waitUntil([&] {
        f.scheduler.advance(0.1);
        return std::abs(f.studio.liveDuration - seconds) < 1e-9;
    });
}

std::int64_t framesIn(const std::filesystem::path& file)
{
    auto reader = AudioFileReader::open(file);
    EXPECT_TRUE(reader) << (reader ? "" : reader.error().description);
    return reader ? reader.value()->length() : -1;
}

// A take writer that fails every write after the first `allowed` ones, like a full disk.
class FailingWriter final : public CafWriter {
public:
    FailingWriter(std::unique_ptr<CafWriter> inner, int allowed)
        : inner_(std::move(inner))
        , allowed_(allowed)
    {
    }
    double sampleRate() const override { return inner_->sampleRate(); }
    int channels() const override { return inner_->channels(); }
    Result<void> write(const AudioBufferList& list, int frames) override
    {
        if (writes_++ >= allowed_)
            return diskFull();
        return inner_->write(list, frames);
    }
    Result<void> writeInterleaved(const float* samples, int frames) override
    {
        if (writes_++ >= allowed_)
            return diskFull();
        return inner_->writeInterleaved(samples, frames);
    }
    std::int64_t framesWritten() const override { return inner_->framesWritten(); }
    Result<void> close() override { return inner_->close(); }

    static Error diskFull() { return Error{"System", 28, "No queda espacio en el dispositivo"}; }

private:
    std::unique_ptr<CafWriter> inner_;
    int allowed_;
    std::atomic<int> writes_ = 0;
};

TEST(StudioRecording,
     aTakeAtTwelveAndAHalfSecondsOfFourPointTwoSecondsEndsTheHeadAtSixteenPointSeven)
{
    TempFolder temp;
    StudioFixture f;
    f.inputOptions.length = 201600; // 4.2 s at 48 kHz
    // More than the recorder's 32 buffers in flight: as fast as possible they could outrun the
    // disk.
    f.inputOptions.pace = SimulatedAudioInput::Pace::realTime;
    const auto folder = startProject(f, temp);
    f.studio.position = 12.5;

    f.studio.record();
    EXPECT_EQ(f.studio.countdown(), 3);
    EXPECT_TRUE(f.studio.busy());
    f.scheduler.advance(1.0);
    EXPECT_EQ(f.studio.countdown(), 2);
    f.scheduler.advance(1.0);
    EXPECT_EQ(f.studio.countdown(), 1);
    EXPECT_FALSE(f.studio.recording());
    f.scheduler.advance(1.0);
    ASSERT_TRUE(f.studio.recording());
    EXPECT_FALSE(f.studio.countdown());
    EXPECT_FALSE(f.studio.busy());
    EXPECT_FALSE(f.studio.recordTask);
    EXPECT_EQ(f.studio.undoStack->size(), 1u);

    // The pending mark was on disk before the first sample.
    const PodcastProject pending = readProject(folder);
    EXPECT_TRUE(pending.recordingPending);
    EXPECT_EQ(pending.pendingStart, 12.5);
    ASSERT_TRUE(pending.pendingVoiceFile);
    const std::string name = *pending.pendingVoiceFile;
    EXPECT_TRUE(std::regex_match(
        name, std::regex("Media/voice-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}"
                         "\\.caf")))
        << name;
    EXPECT_EQ(f.studio.project->pendingVoiceFile, name);

    ASSERT_TRUE(recordUntil(f, 4.2));
    EXPECT_NEAR(f.studio.position(), 16.7, 1e-9);
    EXPECT_GT(f.studio.meter(), 0.49f);
    EXPECT_EQ(f.studio.voicePeaks->size(), 210u);
    // The timeline shows the growing take where it will land.
    const std::optional<Segment> live = f.studio.displayProject().segment(14);
    ASSERT_TRUE(live);
    EXPECT_EQ(live->file, name);
    EXPECT_EQ(live->id, f.studio.liveClipID);

    const Uuid clipID = f.studio.liveClipID;
    f.studio.stop();
    EXPECT_FALSE(f.studio.recording());
    EXPECT_EQ(f.studio.meter(), 0.0f);
    EXPECT_TRUE(f.studio.busy()); // finalizing
    ASSERT_TRUE(f.waitIdle());

    EXPECT_NEAR(f.studio.position(), 16.7, 1e-9);
    const std::optional<Segment> take = f.studio.project->segment(14);
    ASSERT_TRUE(take);
    EXPECT_EQ(take->file, name);
    EXPECT_EQ(take->id, clipID);
    EXPECT_EQ(take->timelineStart, 12.5);
    EXPECT_NEAR(take->duration, 4.2, 1e-12);
    EXPECT_EQ(f.studio.voiceWaveforms->at(name).size(), 210u);
    EXPECT_NEAR(f.studio.sourceDurations.at(name), 4.2, 1e-12);
    EXPECT_FALSE(f.studio.project->recordingPending);
    EXPECT_FALSE(f.studio.project->pendingVoiceFile);
    EXPECT_FALSE(f.studio.recordingDisplayBase);
    EXPECT_EQ(f.studio.liveDuration, 0);
    EXPECT_EQ(framesIn(folder / name), 201600);

    f.settle();
    const PodcastProject saved = readProject(folder);
    EXPECT_FALSE(saved.recordingPending);
    EXPECT_FALSE(saved.pendingVoiceFile);
    EXPECT_FALSE(saved.pendingStart);
    ASSERT_EQ(saved.resolvedSegments().size(), 1u);
    EXPECT_EQ(saved.resolvedSegments()[0].file, name);
    EXPECT_NEAR(*saved.playhead, 16.7, 1e-9);
}

TEST(StudioRecording, recordPressedTwiceDuringTheCountdownStartsOneTake)
{
    TempFolder temp;
    StudioFixture f;
    const auto folder = startProject(f, temp);
    f.studio.selectedDevice = 22u;
    f.studio.record();
    f.scheduler.advance(0.5);
    f.studio.record();
    f.scheduler.advance(1.0);
    f.studio.record();
    EXPECT_EQ(f.host.microphoneRequests, 1);
    EXPECT_EQ(f.studio.countdown(), 2);
    f.scheduler.advance(1.5);
    ASSERT_TRUE(f.studio.recording());
    EXPECT_EQ(f.lastInput->openedSource(), 22u);
    f.studio.record(); // while recording: nothing
    ASSERT_TRUE(recordUntil(f, 2.0));
    f.studio.stop();
    ASSERT_TRUE(f.waitIdle());

    EXPECT_EQ(f.inputsMade, 1);
    EXPECT_EQ(f.studio.project->resolvedSegments().size(), 1u);
    EXPECT_EQ(countFiles(folder / "Media", "voice-"), 1);
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
}

TEST(StudioRecording, stopDuringTheCountdownCancelsItAndWritesNothing)
{
    TempFolder temp;
    StudioFixture f;
    const auto folder = startProject(f, temp);
    f.studio.position = 3.0;
    f.studio.record();
    f.scheduler.advance(1.5);
    EXPECT_EQ(f.studio.countdown(), 2);

    f.studio.stop();
    EXPECT_FALSE(f.studio.countdown());
    EXPECT_FALSE(f.studio.busy());
    EXPECT_FALSE(f.studio.recordTask);
    f.scheduler.advance(5.0);
    EXPECT_FALSE(f.studio.recording());
    EXPECT_FALSE(f.studio.countdown());
    EXPECT_EQ(f.studio.position(), 3.0);
    EXPECT_EQ(f.inputsMade, 0);
    EXPECT_TRUE(f.studio.undoStack->empty());
    EXPECT_FALSE(f.studio.project->recordingPending);

    f.settle();
    EXPECT_EQ(countFiles(folder / "Media", ""), 0);
    const PodcastProject saved = readProject(folder);
    EXPECT_FALSE(saved.recordingPending);
    EXPECT_FALSE(saved.pendingVoiceFile);
    EXPECT_FALSE(saved.pendingStart);
    EXPECT_TRUE(saved.segments.empty());

    // Recording works again afterwards.
    f.studio.record();
    f.scheduler.advance(3.0);
    EXPECT_TRUE(f.studio.recording());
}

TEST(StudioRecording, aRefusedMicrophoneOrAMissingInputLeavesNoPendingTake)
{
    TempFolder temp;
    StudioFixture f;
    const auto folder = startProject(f, temp);
    f.host.microphoneAllowed = false;
    f.studio.record();
    EXPECT_EQ(f.studio.message(),
              "Permite el micrófono en la configuración de privacidad del sistema.");
    EXPECT_FALSE(f.studio.busy());
    EXPECT_FALSE(f.studio.countdown());
    f.scheduler.advance(4.0);
    EXPECT_FALSE(f.studio.recording());
    EXPECT_EQ(f.inputsMade, 0);

    // An input that cannot be opened: the pending mark is taken back and saved.
    f.studio.message = std::nullopt;
    f.host.microphoneAllowed = true;
    f.studio.selectedDevice = 99u;
    f.inputOptions.format.channels = 0;
    f.studio.record();
    f.scheduler.advance(3.0);
    EXPECT_FALSE(f.studio.recording());
    EXPECT_FALSE(f.studio.busy());
    EXPECT_EQ(f.studio.message(),
              startFailed + std::string("La entrada no tiene un formato de audio válido."));
    EXPECT_FALSE(f.studio.project->recordingPending);
    EXPECT_FALSE(f.studio.project->pendingVoiceFile);
    EXPECT_EQ(f.studio.undoStack->size(), 1u); // the checkpoint stays
    f.settle();
    EXPECT_FALSE(readProject(folder).recordingPending);
    EXPECT_FALSE(readProject(folder).pendingVoiceFile);

    // A start that made its file and then failed (a full disk) leaves no empty take behind.
    f.inputOptions.format.channels = 1;
    f.writerFactory = [](const std::filesystem::path& path, double,
                         int) -> Result<std::unique_ptr<CafWriter>> {
        testing::writeFile(path, "");
        return FailingWriter::diskFull();
    };
    f.studio.record();
    f.scheduler.advance(3.0);
    EXPECT_FALSE(f.studio.recording());
    EXPECT_EQ(countFiles(folder / "Media", "voice-"), 0);

    // Nor does one whose pending mark cannot be written, though Media can be: it never starts.
    f.writerFactory = {};
    f.settle(); // a save still in flight would put project.json back
    std::filesystem::remove(folder / "project.json");
    std::filesystem::create_directories(folder / "project.json" / "x");
    f.studio.message = std::nullopt;
    const int inputs = f.inputsMade;
    f.studio.record();
    f.scheduler.advance(3.0);
    EXPECT_FALSE(f.studio.recording() || f.studio.busy() || f.studio.project->recordingPending);
    EXPECT_EQ(f.inputsMade, inputs);
    EXPECT_THAT(f.studio.message().value_or(""),
                StartsWith(startFailed + std::string("No se pudo guardar el proyecto: ")));
}

TEST(StudioRecording, aTakeIsOneUndoStepAndUndoNeverBringsBackItsPendingMark)
{
    TempFolder temp;
    StudioFixture f;
    const auto folder = startProject(f, temp);
    f.studio.record();
    f.scheduler.advance(3.0);
    ASSERT_TRUE(f.studio.recording());
    f.studio.checkpoint(); // a control touched during the take
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
    ASSERT_TRUE(recordUntil(f, 2.0));
    f.studio.stop();
    ASSERT_TRUE(f.waitIdle());
    const std::vector<Segment> take = f.studio.project->segments;
    ASSERT_EQ(take.size(), 1u);

    f.studio.undo();
    EXPECT_TRUE(f.studio.project->segments.empty());
    f.studio.redo();
    EXPECT_EQ(f.studio.project->segments, take);
    f.studio.undo();
    EXPECT_FALSE(f.studio.project->recordingPending);
    f.settle();
    EXPECT_FALSE(readProject(folder).recordingPending);
    ASSERT_TRUE(f.openAndWait(folder));
    EXPECT_FALSE(f.studio.message());
    EXPECT_TRUE(f.studio.project->segments.empty());
}

TEST(StudioRecording, aResumeFailureLeavesTheTakePausedAndALaterResumeRecordsOn)
{
    TempFolder temp;
    StudioFixture f;
    f.inputOptions.pace = SimulatedAudioInput::Pace::realTime;
    f.inputOptions.length = -1;
    f.inputOptions.pieceFrames = 480;
    startProject(f, temp);
    f.studio.record();
    f.scheduler.advance(3.0);
    ASSERT_TRUE(f.studio.recording());
    SimulatedAudioInput* input = f.lastInput;
    input->waitForFrames(4800);

    f.studio.pauseTransport();
    EXPECT_TRUE(f.studio.recordingPaused());
    EXPECT_FALSE(input->isRunning());
    const std::int64_t beforeResume = input->framesDelivered();

    input->failNextResume(Error{"System", 6, "La entrada no responde."});
    f.studio.pauseTransport();
    EXPECT_EQ(f.studio.message(), "La entrada no responde.");
    EXPECT_TRUE(f.studio.recordingPaused());
    EXPECT_TRUE(f.studio.recording());
    EXPECT_FALSE(input->isRunning());

    f.studio.pauseTransport();
    EXPECT_FALSE(f.studio.recordingPaused());
    EXPECT_TRUE(input->isRunning());
    EXPECT_GE(input->waitForFrames(beforeResume + 4800), beforeResume + 4800);

    f.studio.stop();
    ASSERT_TRUE(f.waitIdle());
    const auto segments = f.studio.project->resolvedSegments();
    ASSERT_EQ(segments.size(), 1u);
    EXPECT_GE(segments[0].duration, (beforeResume + 4800) / rate);
}

TEST(StudioRecording, aWriteFailureStopsTheTakeAndKeepsWhatWasWritten)
{
    TempFolder temp;
    StudioFixture f;
    f.inputOptions.pieceFrames = 4800;
    f.inputOptions.length = 96000;
    // At real-time pace the take is surely running when the countdown ends; as fast as possible,
    // the failing write could already be polled by the tick that ends the countdown.
    f.inputOptions.pace = SimulatedAudioInput::Pace::realTime;
    f.writerFactory = [](const std::filesystem::path& path, double sampleRate,
                         int channels) -> Result<std::unique_ptr<CafWriter>> {
        auto inner = CafWriter::create(path, sampleRate, channels);
        if (!inner)
            return inner.error();
        return std::unique_ptr<CafWriter>(
            std::make_unique<FailingWriter>(std::move(inner).value(), 10));
    };
    const auto folder = startProject(f, temp);
    f.studio.record();
    f.scheduler.advance(3.0);
    ASSERT_TRUE(f.studio.recording());
    const std::string name = *f.studio.project->pendingVoiceFile;
    // The document cannot be saved either: that consequence comes after the cause.
    f.settle();
    std::filesystem::rename(folder / "project.json", temp / "aside.json");
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
    EXPECT_NEAR(f.studio.position(), written / rate, 1e-12);
    EXPECT_EQ(framesIn(folder / name), written);
    f.settle();
    EXPECT_FALSE(readProject(folder).recordingPending);
}

TEST(StudioRecording, onlyALostRunningInputInterruptsTheTakeAndItsAudioIsKept)
{
    TempFolder temp;
    StudioFixture f;
    f.inputOptions.pace = SimulatedAudioInput::Pace::realTime;
    f.inputOptions.length = -1;
    f.inputOptions.pieceFrames = 480;
    startProject(f, temp);

    // A device list change, and an input lost while the take is paused, end nothing.
    f.studio.record();
    f.scheduler.advance(3.0);
    ASSERT_TRUE(f.studio.recording());
    f.lastInput->waitForFrames(4800);
    ASSERT_TRUE(f.catalog.changeHandler);
    f.catalog.changeHandler();
    f.studio.pauseTransport();
    f.lastInput->disappear();
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    EXPECT_TRUE(f.studio.recording());
    EXPECT_FALSE(f.studio.message());
    // Resuming says, in Spanish, that the input is gone; the take can still be stopped and kept.
    f.studio.pauseTransport();
    EXPECT_EQ(f.studio.message(), "La entrada de audio ya no está disponible: se desconectó o el "
                                  "servidor de sonido se detuvo. Detén la grabación para conservar "
                                  "lo grabado.");
    EXPECT_TRUE(f.studio.recordingPaused());
    f.studio.stop();
    ASSERT_TRUE(f.waitIdle());
    ASSERT_EQ(f.studio.project->resolvedSegments().size(), 1u);
    EXPECT_GE(f.studio.project->resolvedSegments()[0].duration, 4800 / rate);
    f.studio.message = std::nullopt; // the user dismisses the alert

    // A running input that goes away ends the take, which is kept.
    f.studio.record();
    f.scheduler.advance(3.0);
    ASSERT_TRUE(f.studio.recording());
    const double start = *f.studio.project->pendingStart;
    f.lastInput->waitForFrames(4800);
    f.lastInput->disappear();
    ASSERT_TRUE(f.waitUntil([&] { return !f.studio.recording(); }));
    EXPECT_EQ(f.studio.message(),
              "El micrófono se desconectó o cambió de formato y detuvo la captura. Se ha "
              "conservado la grabación disponible. Selecciona la entrada y vuelve a grabar.");
    ASSERT_TRUE(f.waitIdle());
    const auto segments = f.studio.project->resolvedSegments();
    ASSERT_EQ(segments.size(), 2u);
    EXPECT_EQ(segments[1].timelineStart, start);
    EXPECT_GE(segments[1].duration, 0.1);
}

} // namespace
} // namespace tw
