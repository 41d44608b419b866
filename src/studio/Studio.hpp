// The one controller behind the window: it owns the open document, its folder, the undo history,
// the peak caches, the recorder, the player, the export and the background queues. Views read its
// published fields (each assignment emits fieldChanged) and call its operations. Main thread only.
#pragma once

#include "audio/ExportMetadata.hpp"
#include "base/Result.hpp"
#include "base/Scheduler.hpp"
#include "base/SerialQueue.hpp"
#include "base/Uuid.hpp"
#include "capture/InputDevice.hpp"
#include "capture/Waveform.hpp"
#include "model/PodcastProject.hpp"
#include "studio/MessageField.hpp"
#include "studio/StudioEnvironment.hpp"
#include "studio/StudioField.hpp"

#include <QObject>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tw {

class LoudnessMeter;
class Player;
class ExportSession;
enum class ExportFormat;
class ProjectLock;
struct BuiltMix;
struct Levels;

// What the loudness meter shows, in LUFS (minus infinity while silent): the short-term loudness
// of the last 3 seconds played and the integrated loudness since playback started.
struct LoudnessReading {
    double shortTerm = 0;
    double integrated = 0;
    bool operator==(const LoudnessReading&) const = default;
};
// A level in LUFS or dB as the studio shows it: to a tenth, with a decimal comma and a real minus
// sign ("−16,0"); "—" for silence.
std::string levelFigure(double value);

// The copied clips, the length of the copied range and the folder their paths belong to.
struct AudioClipboard {
    std::vector<Segment> clips;
    double duration = 0;
    std::filesystem::path folder;
};

class Studio final : public QObject, private FieldNotifier {
    Q_OBJECT

public:
    // Sets the initial state, creates the queues, lists the input devices and starts the clock.
    // Opens no project.
    explicit Studio(StudioEnvironment environment, QObject* parent = nullptr);
    ~Studio() override;

    // ---- Project lifecycle (StudioProject.cpp) ----
    void openProject(const std::filesystem::path& at);
    void drainPendingOpen();
    void open();
    bool newProject();
    bool ensureProject();
    void saveProject();
    // "Guardar una copia…": copies the folder (document as it is now, and media) to a new place
    // chosen in a dialog, in the background (busy), and goes on working there.
    void saveCopy();
    void save();
    // Writes the document now and waits for the write: whether it reached the disk. Reports
    // nothing itself; the caller says what a failure means.
    Result<void> saveAndWait();
    void scheduleSave();
    // Blocks until every job queued so far on the finalizer and then on the writer has run.
    void flushSaves();

    std::string title() const;
    VoiceTreatment treatment() const;
    std::optional<std::filesystem::path> recentProjectURL() const;

    // ---- Undo and edit commands (StudioEditing.cpp) ----
    void checkpoint();
    void changed();
    void undo();
    void redo();
    void splitClip();
    void trimSelection();
    void deleteSelection();
    // Deletes the selection from the voice and closes the gap: later clips move left by its
    // length; the music stays where it is.
    void deleteSelectionClosingGap();
    void silenceSelection(bool muted);
    void moveClip(const Uuid& id, double to);
    void copySelection();
    void pasteClips();
    void importMusic();
    // "Quitar música": the document stops naming its music (one undo step); the file stays.
    void removeMusic();
    void autoFades();
    void previewVoiceTrim(const Segment& segment, bool left, double delta);
    void commitVoiceTrim();
    void previewMusicTrim(bool left, double delta);

    // The document as the timeline draws it: the trim preview substituted and, while recording,
    // the growing take inserted. Never stored.
    PodcastProject displayProject() const;
    // The length of the programme: the displayed voice or the end of the placed music.
    double duration() const;

    // ---- Peak caches (StudioPeaks.cpp) ----
    // Recomputes every envelope of the project in the background; with recover, also inserts a
    // take that an interrupted recording left pending.
    void loadPeaks(bool recover, bool notifyRecovery);

    // ---- Recording (StudioRecording.cpp) ----
    // Asks for the microphone, counts down 3, 2, 1 and starts a take at the play head.
    void record();
    // Ends the take: the flags drop at once, the file is closed on the finalizer queue and the
    // take is inserted back on the main thread.
    void stopRecording();

    // ---- Transport (StudioTransport.cpp) ----
    // Plays from the play head if stopped (the mix is built in the background meanwhile, busy),
    // pauses if playing.
    void togglePlayback();
    // Stops the player where it is and saves.
    void pause();
    // Moves the play head, within the seek limits; saves once the seeks settle.
    void seek(double time);
    // Shows a shuttle movement (-1 rewinds, +1 winds) on the deck for 650 ms.
    void animateShuttle(int direction);
    // Gives the running player the project's current volumes, fades and treatment without a gap,
    // keeping the voice tap (a new treatment is crossfaded in from the running one); then saves.
    void updateMix();
    void removePlaybackObserver();
    // The transport bar's jumps: to the start, 5 s back, 5 s forward, to the end.
    void goToStart();
    void skipBackward();
    void skipForward();
    void goToEnd();
    // Plays the selection from its start and stops at its end.
    void listenToSelection();
    // The pause key: toggles the pause of a take while recording, else pauses playback.
    void pauseTransport();
    // The stop key: cancels a countdown, else ends a take, else stops playback at the start.
    void stop();

    // ---- Export (StudioExport.cpp) ----
    // Asks for a destination and writes the audible part of the mix there as M4A, in the
    // background (busy, exportProgress).
    void exportProject();
    // The "Cancelar" beside the export progress.
    void cancelExport();

    // ---- Export loudness and the loudness meter (StudioLoudness.cpp) ----
    // The loudness the project's exports aim at (the podcast norm when it never chose).
    LoudnessTarget loudnessTarget() const;
    // The Audio menu's choice: an undo step, then the project is saved.
    void setLoudnessTarget(LoudnessTarget target);
    // ---- Chapters and episode details (StudioChapters.cpp) ----
    // "Añadir capítulo": a chapter at the play head, unless one is there already. Like the other
    // chapter edits it is one undo step, saved at once, and never stops playback (chapters are
    // marked while listening).
    void addChapter();
    // Moves a chapter to a time within the programme.
    void moveChapter(const Uuid& id, double to);
    void renameChapter(const Uuid& id, const std::string& title);
    void removeChapter(const Uuid& id);
    // "Detalles del episodio…": empty texts and a title equal to the project's are stored as
    // absent. A newCover is checked (JPEG or PNG) and copied into Media as "cover-<UUID>" first;
    // it replaces details.cover. One undo step, when anything changed.
    void setEpisodeDetails(EpisodeDetails details,
                           const std::optional<std::filesystem::path>& newCover = std::nullopt);
    // The title the export writes: the episode's own, else the project's.
    std::string episodeTitle() const;

    // ---- Input devices (Studio.cpp) ----
    // Lists the inputs again (the "Actualizar entradas" button); the selection is left alone.
    void refreshDevices();

    // ---- Clock (StudioClock.cpp) ----
    // One firing of the 0.1 s clock.
    void tick();

    // ---- Fields of the project lifecycle ----
    Published<bool> showWelcome{this, StudioField::showWelcome, true};
    Published<PodcastProject> project{this, StudioField::project};
    Published<std::optional<std::filesystem::path>> folder{this, StudioField::folder};
    // Held while folder is open, so no other studio opens it too; declared before the queues so
    // that it is given up only after the last save.
    std::shared_ptr<ProjectLock> folderLock;
    Published<std::optional<std::chrono::system_clock::time_point>> lastSaved{
        this, StudioField::lastSaved};
    MessageField message{this};
    Published<bool> busy{this, StudioField::busy, false};
    std::optional<std::filesystem::path> pendingOpenURL;
    TaskHandle seekSaveTask;
    SerialQueue projectWriter{"Tapewright.project-writer"};
    SerialQueue recordingFinalizer{"Tapewright.recording-finalizer"};
    Published<double> position{this, StudioField::position, 0.0};
    Published<double> zoom{this, StudioField::zoom, 30.0};
    Published<std::optional<TimeRange>> selection{this, StudioField::selection};

    // ---- Fields of undo and the edit commands ----
    Published<std::vector<PodcastProject>> undoStack{this, StudioField::undoStack};
    Published<std::vector<PodcastProject>> redoStack{this, StudioField::redoStack};
    std::optional<AudioClipboard> audioClipboard;
    Published<bool> canPaste{this, StudioField::canPaste, false};
    Published<std::optional<Segment>> voiceTrimPreview{this, StudioField::voiceTrimPreview};
    std::optional<Segment> trimOriginal;
    std::optional<MusicRange> musicTrimBase;

    // ---- Fields of the timeline and window views ----
    bool fadeEditing = false; // a fade handle drag has taken its undo checkpoint
    Published<std::optional<Uuid>> selectedClip{this, StudioField::selectedClip};
    Published<std::optional<Uuid>> draggedClip{this, StudioField::draggedClip};
    Published<std::optional<double>> clipDragTime{this, StudioField::clipDragTime};
    Published<std::optional<std::string>> hoveredControl{this, StudioField::hoveredControl};
    Published<bool> showMusicEditor{this, StudioField::showMusicEditor, false};

    // ---- Peak caches ----
    Published<std::vector<float>> voicePeaks{this, StudioField::voicePeaks};
    Published<std::map<std::string, std::vector<float>>> voiceWaveforms{
        this, StudioField::voiceWaveforms};
    std::map<std::string, double> sourceDurations;
    Published<std::vector<float>> musicPeaks{this, StudioField::musicPeaks};
    Published<double> musicDuration{this, StudioField::musicDuration, 0.0};

    // ---- Fields of recording ----
    Published<std::optional<int>> countdown{this, StudioField::countdown};
    Published<bool> recording{this, StudioField::recording, false};
    Published<bool> recordingPaused{this, StudioField::recordingPaused, false};
    TaskHandle recordTask; // the countdown-and-start task
    double liveDuration = 0;
    Uuid liveClipID = Uuid::random();
    std::optional<PodcastProject> recordingDisplayBase;
    // The one recorder, made with the Studio; shared with the finalizer's jobs.
    std::shared_ptr<DiskRecorder> recorder;

    // ---- Fields of the input devices ----
    Published<std::vector<InputDevice>> devices{this, StudioField::devices};
    Published<std::uint32_t> selectedDevice{this, StudioField::selectedDevice, 0};

    // ---- Fields of the clock and meters ----
    Published<float> meter{this, StudioField::meter, 0.0f};
    Published<std::vector<float>> vuLevels{this, StudioField::vuLevels, {0.0f, 0.0f}};
    Published<bool> peakWarning{this, StudioField::peakWarning, false};
    Published<std::vector<float>> spectrumBars{this, StudioField::spectrumBars,
                                               std::vector<float>(24, 0.0f)};
    double reelAngle = 0;
    double rightReelAngle = 0;
    double previousReelTick = 0; // scheduler time of the previous tick; the creation time at first
    TaskHandle timer;

    // ---- Fields of the transport ----
    Published<bool> playing{this, StudioField::playing, false};
    Published<bool> pauseEngaged{this, StudioField::pauseEngaged, false};
    Published<int> shuttleDirection{this, StudioField::shuttleDirection, 0};
    TaskHandle shuttleTask;
    // The player of the current playback (a paused one stays until the next start) and its clock
    // observer.
    std::shared_ptr<Player> player;
    TaskHandle observer;
    std::optional<double> previewEnd;
    std::int64_t playbackGeneration = 0;
    VoiceTreatment appliedTreatment;

    // ---- Fields of the loudness meter ----
    Published<std::optional<LoudnessReading>> loudness{this, StudioField::loudness};
    // Measures what the player plays, off the render thread; made when playback starts.
    std::unique_ptr<LoudnessMeter> loudnessMeter;

    // ---- Fields of the export ----
    Published<std::optional<float>> exportProgress{this, StudioField::exportProgress};
    // The running export and its progress poll.
    std::shared_ptr<ExportSession> activeExport;
    TaskHandle exportPoll;

signals:
    // Emitted on every assignment of a published field, also when the value did not change.
    void fieldChanged(tw::StudioField field);

private:
    void fieldAssigned(StudioField field) override;

    // The guard of the commands: neither recording nor a long operation under way.
    bool idle() const { return !recording() && !busy(); }
    // True when displayProject() would return project() unchanged.
    bool displaysStoredProject() const;
    void moveBetweenHistories(Published<std::vector<PodcastProject>>& source,
                              Published<std::vector<PodcastProject>>& destination);
    // A project's envelopes as the background batch read them, the pending take on its own.
    struct LoadedPeaks {
        Result<ProjectPeaks> sources;
        std::optional<std::string> takeName;
        std::optional<Result<Waveform>> take;
    };
    std::optional<std::string> pendingTakeName() const;
    void applyPeaks(const LoadedPeaks& loaded, bool recover, bool notifyRecovery);
    void recoverTake(const std::optional<std::string>& name, const Waveform* take,
                     bool notifyRecovery);
    void clearPeakCaches();
    // Queues the write of the document; outcome, when given, receives the write's result
    // before it is handed back to the main thread.
    void queueSave(const std::shared_ptr<Result<void>>& outcome);
    void saveFinished(const std::filesystem::path& savedFolder, const Result<void>& written);
    void copyFinished(const std::filesystem::path& copy, const Result<void>& copied);
    void applyPaste(const Result<std::vector<Segment>>& prepared, double duration, double at);

    // Recording steps (StudioRecording.cpp), main thread.
    void subscribeToConfigurationChanges();
    void microphoneAnswered(bool granted);
    void countDown(int remaining);
    void startTake();
    void endRecordTask();
    void clearPendingMark();
    // An interrupted take is still waiting in the document to be inserted.
    bool hasUnrecoveredTake() const { return !recording() && project->recordingPending; }
    // The waiting take's file is there (readable or not): a new take must not replace it.
    bool takeFileExists() const;
    void toggleRecordingPause();
    void finishTake(const DiskRecorder::Status& last, const std::optional<std::string>& name,
                    double start, const Uuid& id);
    void audioConfigurationChanged(const void* object);
    void pollRecorder();
    // The clock's weighting of the sources being heard, and its reel step (StudioClock.cpp).
    std::map<std::string, float> heardWeights() const;
    void turnReels();
    // Export steps (StudioExport.cpp), main thread.
    struct ExportJob {
        std::filesystem::path destination;
        std::filesystem::path temporary;
        TimeRange range;
        ExportMetadata metadata; // its chapters are added once the range is final
        ExportFormat format;
        LoudnessTarget target;
        std::optional<Error> musicLeftOut; // said beside the completion
    };
    void startExport(Result<BuiltMix> built, const ExportJob& job);
    void exportEnded(const ExportJob& job);
    void finishExport(const ExportJob& job, const std::optional<Error>& failure);
    // Playback steps (StudioTransport.cpp), main thread.
    void startPlayer(Result<BuiltMix> built, std::int64_t generation);
    void startClock(std::int64_t generation);
    void followPlayer(double time);
    // Loudness meter steps (StudioLoudness.cpp), main thread: a fresh measurement for a new
    // playback, and what the player has played since the last step.
    void startLoudness();
    void measurePlayed();

    // The document as last handed to the writer, shared with its job.
    std::shared_ptr<const PodcastProject> savedSnapshot_;
    std::uint64_t savedRevision_ = 0; // the project's revision when savedSnapshot_ was taken
    // The last save handed to the writer; while it has not started, later saves join it.
    struct QueuedSave;
    std::shared_ptr<QueuedSave> queuedSave_;
    // A failing save is reported once; later ones stay quiet until a save succeeds again.
    bool saveFailureShown_ = false;

    Scheduler& scheduler_;
    StudioHost& host_;
    SettingsStore& settings_;
    DeviceCatalog& catalog_;
    std::function<std::unique_ptr<AudioOutput>()> makeOutput_;
};

} // namespace tw
