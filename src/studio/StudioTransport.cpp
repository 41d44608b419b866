// The play head: starting and pausing playback of the project's live mix, seeking, the shuttle
// jumps, listening to a selection, following the player's clock and remixing a running player.
// Main thread; the mix is built on the thread pool and handed back.
#include "audio/Player.hpp"
#include "mix/MixBuilder.hpp"
#include "mix/MixParameters.hpp"
#include "studio/MainThread.hpp"
#include "studio/Studio.hpp"
#include "voice/LiveVoiceTap.hpp"

#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

constexpr double observerInterval = 0.05;
constexpr double earlyStopMargin = 0.03;
constexpr double shuttleJump = 5;
constexpr double shuttleHold = 0.65;
constexpr double retireDelay = 0.5;

// A player together with the output it plays through; the player goes first.
struct PlaybackChain {
    std::unique_ptr<AudioOutput> output;
    std::unique_ptr<Player> player;
};

} // namespace

void Studio::togglePlayback()
{
    if (recording() || busy())
        return;
    if (playing()) {
        pause();
        return;
    }
    if (!folder() || !(duration() > 0))
        return;
    const std::int64_t generation = ++playbackGeneration;
    busy = true;
    (void)QtConcurrent::run([project = project(), projectFolder = *folder(), generation,
                             studio = QPointer<Studio>(this)] {
        auto built =
            std::make_shared<Result<BuiltMix>>(MixBuilder::make(project, projectFolder, true));
        runOnMainThread([studio, built, generation] {
            if (studio)
                studio->startPlayer(std::move(*built), generation);
        });
    });
}

void Studio::startPlayer(Result<BuiltMix> built, std::int64_t generation)
{
    if (!built) {
        message = built.error().description;
        busy = false;
        return;
    }
    if (playbackGeneration != generation) {
        busy = false;
        return;
    }
    removePlaybackObserver();
    auto chain = std::make_shared<PlaybackChain>();
    chain->output = makeOutput_ ? makeOutput_() : soundServerOutput();
    PlayerOptions options;
    options.postToMain = runOnMainThread;
    Result<std::unique_ptr<Player>> opened = Player::open(*chain->output, scheduler_, options);
    Result<void> item =
        opened ? opened.value()->setItem(built.value().composition, built.value().audioMix)
               : Result<void>(opened.error());
    if (!item) {
        message = item.error().description;
        busy = false;
        return;
    }
    if (built.value().musicLeftOut)
        message = MixBuilder::musicLeftOutText(*built.value().musicLeftOut);
    chain->player = std::move(opened.value());
    // A paused player may still be playing out the last of what it rendered (up to where the
    // new one starts): it goes once that has been heard.
    if (player)
        scheduler_.after(retireDelay, [retired = std::move(player)] {});
    player = std::shared_ptr<Player>(chain, chain->player.get());
    appliedTreatment = treatment();
    // Playing from the end starts over; the automatic stop leaves the head just short of it.
    if (position() >= duration() - earlyStopMargin)
        position = 0.0;
    const std::weak_ptr<Player> started = player;
    player->seek(MediaTime::fromSeconds(position()), [studio = QPointer<Studio>(this), started,
                                                      generation](bool) {
        if (!studio)
            return;
        const std::shared_ptr<Player> current = started.lock();
        if (current && current == studio->player && studio->playbackGeneration == generation)
            studio->startClock(generation);
        studio->busy = false;
    });
}

void Studio::startClock(std::int64_t generation)
{
    const std::weak_ptr<Player> watched = player;
    observer = player->addPeriodicTimeObserver(
        observerInterval, [studio = QPointer<Studio>(this), watched, generation](MediaTime time) {
            const std::shared_ptr<Player> current = watched.lock();
            if (!studio || !current || !studio->playing() ||
                studio->playbackGeneration != generation || current != studio->player ||
                !(current->rate() > 0))
                return;
            studio->followPlayer(time.seconds());
        });
    pauseEngaged = false;
    playing = true;
    startLoudness();
    player->play();
}

void Studio::followPlayer(double time)
{
    if (!std::isfinite(time))
        return;
    position = std::clamp(time, 0.0, std::max(duration(), 0.0));
    measurePlayed();
    const double end = previewEnd.value_or(duration());
    if (end - earlyStopMargin <= position())
        pause();
}

void Studio::pause()
{
    previewEnd.reset();
    // A newer generation makes a start in preparation and any late clock tick abandon themselves.
    ++playbackGeneration;
    const bool wasPlaying = playing();
    playing = false;
    if (player)
        player->pause();
    removePlaybackObserver();
    if (wasPlaying) {
        pauseEngaged = true;
        if (player) {
            const double time = player->currentTime().seconds();
            if (std::isfinite(time))
                position = std::clamp(time, 0.0, std::max(duration(), 0.0));
        }
    }
    save();
}

void Studio::removePlaybackObserver()
{
    if (!observer)
        return;
    if (player)
        player->removeTimeObserver(observer);
    else
        observer->cancel();
    observer.reset();
}

void Studio::seek(double time)
{
    previewEnd.reset();
    if (playing() && time >= duration())
        pause();
    const double limit = std::max({120.0, duration() + 60, position() + 30});
    const double to = std::isnan(time) ? 0.0 : std::max(std::min(time, limit), 0.0);
    // The player first: the old sound stops before anything redraws.
    if (player)
        player->seek(MediaTime::fromSeconds(to));
    position = to;
    scheduleSave();
}

void Studio::animateShuttle(int direction)
{
    if (shuttleTask)
        shuttleTask->cancel();
    shuttleDirection = direction;
    shuttleTask = scheduler_.after(shuttleHold, [this] {
        shuttleTask.reset();
        shuttleDirection = 0;
    });
}

void Studio::goToStart()
{
    animateShuttle(-1);
    seek(0);
}

void Studio::skipBackward()
{
    if (recording())
        return;
    animateShuttle(-1);
    seek(position() - shuttleJump);
}

void Studio::skipForward()
{
    if (recording())
        return;
    animateShuttle(+1);
    seek(position() + shuttleJump);
}

void Studio::goToEnd()
{
    animateShuttle(+1);
    seek(duration());
}

void Studio::listenToSelection()
{
    const std::optional<TimeRange> range = selection();
    if (!range)
        return;
    pause();
    seek(range->lower);
    previewEnd = range->upper;
    togglePlayback();
}

void Studio::updateMix()
{
    const Composition* composition = player ? player->currentComposition() : nullptr;
    if (!composition) {
        save();
        return;
    }
    const AudioMix& running = player->currentAudioMix();
    const InputParameters* voiceInput = running.parameters(MixBuilder::voiceTrackID);
    const InputParameters* musicInput = running.parameters(MixBuilder::musicTrackID);
    const std::shared_ptr<ProcessingTap> voiceTap = voiceInput ? voiceInput->tap : nullptr;
    const std::shared_ptr<ProcessingTap> musicTap = musicInput ? musicInput->tap : nullptr;
    const VoiceTreatment current = treatment();
    const bool same = current == appliedTreatment;

    AudioMix mix;
    for (const CompositionTrack& track : composition->tracks()) {
        if (track.trackID() == MixBuilder::voiceTrackID) {
            // The running tap stays, so its filters and dynamics carry on; a new treatment is
            // handed to it and crossfaded in.
            const auto liveTap = std::dynamic_pointer_cast<LiveVoiceTap>(voiceTap);
            Result<InputParameters> voice =
                voiceMixParameters(track.trackID(), project(), !liveTap);
            if (voice) {
                if (liveTap) {
                    if (!same)
                        liveTap->setTreatment(current);
                    voice.value().tap = voiceTap;
                }
                mix.inputParameters.push_back(std::move(voice.value()));
            } else {
                message = voice.error().description;
                InputParameters plain;
                plain.trackID = track.trackID();
                plain.volume.setVolume(project->voiceVolume, MediaTime{});
                mix.inputParameters.push_back(std::move(plain));
            }
            continue;
        }
        const MusicRange range = project->musicRange(musicDuration());
        InputParameters music =
            musicMixParameters(track.trackID(), project(), range.duration, range.offset);
        if (musicTap) {
            music.tap = musicTap;
        } else if (auto tap = liveVoiceTap(VoiceTreatment{}, "music")) {
            music.tap = tap.value();
        }
        mix.inputParameters.push_back(std::move(music));
    }
    player->setAudioMix(mix);
    appliedTreatment = current;
    save();
}

void Studio::pauseTransport()
{
    if (recording()) {
        toggleRecordingPause();
        return;
    }
    pause();
    pauseEngaged = true;
}

void Studio::stop()
{
    if (countdown()) {
        // The countdown ends as a cancellation: nothing has been written yet.
        if (recordTask)
            recordTask->cancel();
        endRecordTask();
        return;
    }
    if (recording()) {
        stopRecording();
        return;
    }
    pause();
    pauseEngaged = false;
    seek(0);
}

} // namespace tw
