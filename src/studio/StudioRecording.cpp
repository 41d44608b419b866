// Recording takes: permission, countdown, the pending mark saved before the first sample, the
// recorder's start, pause and stop, and the take inserted as a clip. Main thread, except the
// recorder's stop on the finalizer queue.
#include "studio/MainThread.hpp"
#include "studio/Studio.hpp"
#include "studio/StudioHost.hpp"

#include <QPointer>

namespace tw {

namespace {

constexpr double countdownStep = 1.0;

const char* const permissionRefused =
    "Permite el micrófono en la configuración de privacidad del sistema.";
const char* const startFailed =
    "No se pudo iniciar la grabación. Comprueba la entrada de audio y que la carpeta del proyecto "
    "permita guardar. Detalle: ";
const char* const interrupted =
    "El micrófono se desconectó o cambió de formato y detuvo la captura. Se ha conservado la "
    "grabación disponible. Selecciona la entrada y vuelve a grabar.";
const char* const stoppedByFailure = "La grabación se detuvo: ";

} // namespace

void Studio::subscribeToConfigurationChanges()
{
    // Both events may come on any thread; they are looked at on the main thread only. The
    // catalog's object is never the recorder's input, so a catalog change alone never ends a
    // take: only an input that stopped running does.
    const QPointer<Studio> studio(this);
    recorder->setConfigurationChangeHandler([studio](const void* input) {
        runOnMainThread([studio, input] {
            if (studio)
                studio->audioConfigurationChanged(input);
        });
    });
    const void* catalog = &catalog_;
    catalog_.setChangeHandler([studio, catalog] {
        runOnMainThread([studio, catalog] {
            if (studio)
                studio->audioConfigurationChanged(catalog);
        });
    });
}

void Studio::audioConfigurationChanged(const void* object)
{
    assertMainThread();
    if (recording() && recorder->captureWasInterrupted(object, recordingPaused())) {
        stopRecording();
        message = interrupted;
    }
}

void Studio::record()
{
    assertMainThread();
    if (recording() || busy())
        return;
    if (hasUnrecoveredTake() && takeFileExists()) {
        // A new take would take the place of the waiting one in the document: bring that one
        // in first (the attempt says whether it worked).
        loadPeaks(true, true);
        return;
    }
    if (!ensureProject())
        return;
    busy = true;
    // Stands for the task until the countdown's first step replaces it.
    const TaskHandle task = std::make_shared<ScheduledTask>();
    recordTask = task;
    host_.requestMicrophonePermission([studio = QPointer<Studio>(this), task](bool granted) {
        if (!studio || studio->recordTask != task)
            return;
        if (task->cancelled())
            studio->endRecordTask();
        else
            studio->microphoneAnswered(granted);
    });
}

void Studio::microphoneAnswered(bool granted)
{
    if (!granted) {
        message = permissionRefused;
        endRecordTask();
        return;
    }
    if (!folder()) {
        endRecordTask();
        return;
    }
    pause();
    countDown(3);
}

void Studio::countDown(int remaining)
{
    countdown = remaining;
    // Replaced at each step, so stop() always cancels the step that is waiting.
    recordTask = scheduler_.after(countdownStep, [this, remaining] {
        if (remaining > 1)
            countDown(remaining - 1);
        else
            startTake();
    });
}

void Studio::endRecordTask()
{
    busy = false;
    countdown = std::nullopt;
    recordTask.reset();
}

void Studio::startTake()
{
    countdown = std::nullopt;
    const std::string name = "Media/voice-" + Uuid::random().text() + ".caf";
    checkpoint(); // undo removes the take
    const double start = position();
    project.mutate([&](PodcastProject& document) {
        document.pendingVoiceFile = name;
        document.pendingStart = start;
        document.recordingPending = true;
    });
    // The pending mark is on disk before the first sample, so a crash never loses the take;
    // without it on disk the take does not start.
    if (Result<void> marked = saveAndWait(); !marked) {
        clearPendingMark(); // the disk never had it
        message = startFailed + ("No se pudo guardar el proyecto: " + marked.error().description);
        endRecordTask();
        return;
    }

    const std::optional<std::uint32_t> device =
        selectedDevice() == 0 ? std::nullopt : std::optional<std::uint32_t>(selectedDevice());
    const std::filesystem::path file = *folder() / name;
    Result<void> started = recorder->start(file, device);
    if (!started) {
        clearPendingMark();
        save();
        message = startFailed + started.error().description;
        // Nothing was captured: what the failed start left under the take's name holds no audio.
        std::error_code ignored;
        std::filesystem::remove(file, ignored);
    } else {
        liveDuration = 0;
        voicePeaks = {};
        liveClipID = Uuid::random();
        PodcastProject base = project();
        base.split(start);
        recordingDisplayBase = std::move(base);
        recording = true;
        // The music editor's edits would share the take's one undo step: it closes, and its
        // button stays off until the take has ended.
        showMusicEditor = false;
    }
    endRecordTask();
}

void Studio::clearPendingMark()
{
    project.mutate([](PodcastProject& document) {
        document.recordingPending = false;
        document.pendingVoiceFile.reset();
        document.pendingStart.reset();
    });
}

bool Studio::takeFileExists() const
{
    const std::optional<std::string> name = pendingTakeName();
    std::error_code error;
    return name && folder() &&
           std::filesystem::symlink_status(*folder() / *name, error).type() !=
               std::filesystem::file_type::not_found;
}

void Studio::toggleRecordingPause()
{
    Result<void> changed = recorder->setPaused(!recordingPaused());
    if (!changed) {
        message = changed.error().description;
        return;
    }
    recordingPaused = !recordingPaused();
}

void Studio::stopRecording()
{
    assertMainThread();
    if (!recording())
        return;
    // Flags first: the meters and reels stop at once and a second stop does nothing.
    recording = false;
    recordingPaused = false;
    pauseEngaged = false;
    meter = 0.0f;
    busy = true;
    const std::optional<std::string> name = project->pendingVoiceFile;
    const double start = project->pendingStart.value_or(0.0);
    const Uuid id = liveClipID;
    recordingFinalizer.async(
        [recorder = recorder, studio = QPointer<Studio>(this), name, start, id] {
            // Finalizer queue: waits for every queued buffer and closes the file.
            recorder->stop();
            DiskRecorder::Status last = recorder->status();
            runOnMainThread([studio, last = std::move(last), name, start, id] {
                if (studio)
                    studio->finishTake(last, name, start, id);
            });
        });
}

void Studio::finishTake(const DiskRecorder::Status& last, const std::optional<std::string>& name,
                        double start, const Uuid& id)
{
    voicePeaks.mutate([&](std::vector<float>& peaks) {
        peaks.insert(peaks.end(), last.peaks.begin(), last.peaks.end());
    });
    if (name) {
        // The live envelope is the take's whole envelope: the file is not read again.
        voiceWaveforms.mutate([&](auto& envelopes) { envelopes[*name] = voicePeaks(); });
        sourceDurations[*name] = last.duration;
        project.mutate([&](PodcastProject& document) {
            document.insertTake(*name, last.duration, start, id);
        });
    }
    position = start + last.duration;
    clearPendingMark();
    liveDuration = 0;
    recordingDisplayBase.reset();
    busy = false;
    save();
}

void Studio::pollRecorder()
{
    DiskRecorder::Status status = recorder->status();
    meter = status.peak;
    liveDuration = status.duration;
    position = status.duration + project->pendingStart.value_or(0.0);
    if (!status.peaks.empty())
        voicePeaks.mutate([&](std::vector<float>& peaks) {
            peaks.insert(peaks.end(), status.peaks.begin(), status.peaks.end());
        });
    if (status.error) {
        // What was written up to the failure is inserted like any take.
        stopRecording();
        message = stoppedByFailure + status.error->description;
    }
}

} // namespace tw
