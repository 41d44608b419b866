#include "ui/TrackHeader.hpp"

#include "ui/WindowStudio.hpp"

#include <QLabel>
#include <QSlider>
#include <QToolButton>

#include <gtest/gtest.h>

namespace tw {

namespace {

using testing::clipAt;
using testing::readProject;
using testing::WindowStudio;

struct Headers : WindowStudio {
    using WindowStudio::WindowStudio;
    TrackHeader voice{studio, TrackHeader::Kind::voice};
    TrackHeader music{studio, TrackHeader::Kind::music};
};

} // namespace

TEST(TrackHeader, muteSilencesAndRestoresFullVoiceButTheBedLevelForMusic)
{
    Headers f({clipAt(0, 5)});
    f.studio.project.mutate([](PodcastProject& p) {
        p.voiceVolume = 0.6f;
        p.musicVolume = 0.8f;
    });
    EXPECT_EQ(f.voice.muteButton().toolTip(), "Silenciar o activar esta pista");
    const QImage speaking = f.voice.muteButton().icon().pixmap(14, 14).toImage();

    f.voice.muteButton().click();
    EXPECT_EQ(f.studio.project->voiceVolume, 0.0f);
    EXPECT_NE(f.voice.muteButton().icon().pixmap(14, 14).toImage(), speaking);
    EXPECT_EQ(f.voice.percentage().text(), "0");
    f.voice.muteButton().click();
    EXPECT_EQ(f.studio.project->voiceVolume, 1.0f); // not the 0.6 from before
    EXPECT_EQ(f.voice.percentage().text(), "100");
    EXPECT_EQ(f.voice.muteButton().icon().pixmap(14, 14).toImage(), speaking);

    f.music.muteButton().click();
    EXPECT_EQ(f.studio.project->musicVolume, 0.0f);
    f.music.muteButton().click();
    EXPECT_EQ(f.studio.project->musicVolume, 0.35f); // not the 0.8 from before
    EXPECT_EQ(f.music.percentage().text(), "35");
    EXPECT_EQ(f.studio.undoStack->size(), 4u);
}

TEST(TrackHeader, volumeSliderDragIsOneUndoStepHeardLiveAndSavedAtTheEnd)
{
    Headers f({clipAt(0, 5)});
    QSlider& slider = f.voice.volumeSlider();
    EXPECT_EQ(slider.value(), 100);

    slider.setSliderDown(true); // the drag begins
    for (int value : {90, 75, 42})
        slider.setValue(value);
    EXPECT_FLOAT_EQ(f.studio.project->voiceVolume, 0.42f);
    EXPECT_EQ(f.voice.percentage().text(), "42");
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
    slider.setSliderDown(false); // the drag ends
    f.fixture.settle();
    EXPECT_FLOAT_EQ(readProject(f.folder).voiceVolume, 0.42f);

    // The percentage is truncated, not rounded.
    EXPECT_EQ(TrackHeader::percentageText(0.299f), "29");
    EXPECT_EQ(TrackHeader::percentageText(0.0f), "0");
    // The document's volume moves the slider without an edit of its own.
    f.studio.project.mutate([](PodcastProject& p) { p.musicVolume = 0.5f; });
    EXPECT_EQ(f.music.volumeSlider().value(), 50);
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
}

TEST(TrackHeader, captionsCountClipsAndNoticeMusicFromTheVoiceSource)
{
    Headers f({clipAt(0, 5), clipAt(5, 5, "Media/voice-B.caf")});
    f.voice.show();
    f.music.show();
    EXPECT_EQ(f.voice.caption().text(), "2 clips · Original intacto");
    EXPECT_FALSE(f.music.caption().isVisible());

    f.studio.project.mutate([](PodcastProject& p) { p.musicFile = "Media/music-X.mp3"; });
    EXPECT_FALSE(f.music.caption().isVisible());
    f.studio.project.mutate([](PodcastProject& p) { p.musicFile = "Media/voice-B.caf"; });
    EXPECT_TRUE(f.music.caption().isVisible());
    EXPECT_EQ(f.music.caption().text(), "Misma fuente que la voz");

    f.studio.position = 2.0;
    f.studio.splitClip();
    EXPECT_EQ(f.voice.caption().text(), "3 clips · Original intacto");
}

TEST(TrackHeader, musicButtonsLoadOpenTheEditorAndFollowTakeAndBusy)
{
    Headers f({clipAt(0, 5)});
    f.music.show();
    ASSERT_TRUE(f.music.loadButton() && f.music.settingsButton() && f.music.autoFadesButton());
    EXPECT_FALSE(f.voice.loadButton());
    EXPECT_EQ(f.music.loadButton()->toolTip(), "Cargar una pista de música");
    EXPECT_EQ(f.music.autoFadesButton()->text(), "Auto fades · 5s / 10s");

    f.music.loadButton()->click();
    EXPECT_EQ(f.fixture.host.audioFileRequests, 1);

    f.music.settingsButton()->click();
    EXPECT_TRUE(f.studio.showMusicEditor());
    ASSERT_TRUE(f.music.editorPopover());
    EXPECT_TRUE(f.music.editorPopover()->isVisible());
    // Closing the popover ends the editing; the flag closes it too.
    f.music.editorPopover()->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(f.studio.showMusicEditor());
    EXPECT_FALSE(f.music.editorPopover());
    f.music.settingsButton()->click();
    ASSERT_TRUE(f.music.editorPopover());
    f.music.settingsButton()->click(); // toggles it off again
    EXPECT_FALSE(f.studio.showMusicEditor());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(f.music.editorPopover());

    f.studio.busy = true;
    EXPECT_FALSE(f.music.loadButton()->isEnabled());
    EXPECT_FALSE(f.music.settingsButton()->isEnabled());
    f.studio.busy = false;
    f.studio.showMusicEditor = true;
    ASSERT_TRUE(f.startTake());
    EXPECT_FALSE(f.studio.showMusicEditor());
    EXPECT_FALSE(f.music.loadButton()->isEnabled());
    EXPECT_FALSE(f.music.settingsButton()->isEnabled());
    // Volumes wait for the take's end: it is one undo step of its own.
    for (TrackHeader* header : {&f.voice, &f.music})
        EXPECT_FALSE(header->volumeSlider().isEnabled() || header->muteButton().isEnabled());
    f.music.loadButton()->click();
    EXPECT_EQ(f.fixture.host.audioFileRequests, 1);
    ASSERT_TRUE(f.recordUntil(0.2));
    ASSERT_TRUE(f.finishTake());
    EXPECT_TRUE(f.music.loadButton()->isEnabled());
    EXPECT_TRUE(f.voice.volumeSlider().isEnabled() && f.voice.muteButton().isEnabled());
}

} // namespace tw
