// Creation and teardown of the Studio, the published-field signal and the derived values that
// several concerns share.
#include "studio/Studio.hpp"

#include "audio/LoudnessMeter.hpp"
#include "base/SettingsStore.hpp"
#include "capture/SpectrumMonitor.hpp"
#include "studio/MainThread.hpp"
#include "studio/StudioHost.hpp"

#include <algorithm>

namespace tw {

Studio::Studio(StudioEnvironment environment, QObject* parent)
    : QObject(parent)
    , scheduler_(environment.scheduler)
    , host_(environment.host)
    , settings_(environment.settings)
    , catalog_(environment.devices)
    , makeOutput_(std::move(environment.makeOutput))
{
    assertMainThread();
    recorder = std::make_shared<DiskRecorder>(std::move(environment.makeInput),
                                              std::move(environment.makeWriter));
    // The meters compare the monitor's time stamps with this clock's time.
    SpectrumMonitor::shared().setClock(scheduler_);
    subscribeToConfigurationChanges();
    devices = InputDevice::all(catalog_);
    previousReelTick = scheduler_.now();
    timer = scheduler_.every(0.1, [this] { tick(); });
}

Studio::~Studio()
{
    // Nothing scheduled may call back into a Studio that is gone.
    for (TaskHandle* task : {&timer, &seekSaveTask, &shuttleTask, &recordTask})
        if (*task)
            (*task)->cancel();
    removePlaybackObserver();
    player.reset();
    catalog_.setChangeHandler({});
    // A take still running ends here: the recorder stops before the scheduler it stamps with
    // may go away, and then the monitor falls back to the machine's clock.
    recorder->setConfigurationChangeHandler({});
    recordingFinalizer.sync([] {});
    recorder->stop();
    SpectrumMonitor::shared().setClock(SteadyClock::instance());
}

void Studio::refreshDevices()
{
    devices = InputDevice::all(catalog_);
}

void Studio::fieldAssigned(StudioField field)
{
    emit fieldChanged(field);
}

VoiceTreatment Studio::treatment() const
{
    return project->treatment.value_or(VoiceTreatment{});
}

bool Studio::displaysStoredProject() const
{
    if (voiceTrimPreview())
        return false;
    if (recording() && (recordingDisplayBase || project->pendingVoiceFile))
        return false;
    return true;
}

PodcastProject Studio::displayProject() const
{
    PodcastProject base = recording() && recordingDisplayBase ? *recordingDisplayBase : project();
    if (const auto& preview = voiceTrimPreview()) {
        std::vector<Segment> segments = base.resolvedSegments();
        for (Segment& segment : segments)
            if (segment.id == preview->id)
                segment = *preview;
        base.segments = std::move(segments);
    }
    if (recording() && project->pendingVoiceFile)
        base.insertTake(*project->pendingVoiceFile, liveDuration,
                        project->pendingStart.value_or(0.0), liveClipID);
    return base;
}

double Studio::duration() const
{
    const double voice =
        displaysStoredProject() ? project->voiceDuration() : displayProject().voiceDuration();
    const MusicRange music = project->musicRange(musicDuration());
    const double musicEnd = music.duration > 0 ? music.offset + music.duration : 0.0;
    return std::max(voice, musicEnd);
}

} // namespace tw
