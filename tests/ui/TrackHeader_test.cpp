#include "ui/TrackHeader.hpp"

#include "ui/WindowStudio.hpp"

#include <QLabel>
#include <QSlider>
#include <QToolButton>

#include <gtest/gtest.h>

namespace tw {
namespace {

struct Headers : testing::WindowStudio {
    using WindowStudio::WindowStudio;
    TrackHeader voice{studio, TrackHeader::Kind::voice};
    TrackHeader music{studio, TrackHeader::Kind::music};
};

TEST(TrackHeader, muteVolumeCaptionsAndMusicButtonsDriveTheStudioAndFollowTakeAndBusy)
{
    Headers f({testing::clipAt(0, 5), testing::clipAt(5, 5, "Media/voice-B.caf")});
    f.studio.project.mutate([](PodcastProject& p) {
        p.voiceVolume = 0.6f;
        p.musicVolume = 0.8f;
    });
    const auto icon = [&] { return f.voice.muteButton().icon().pixmap(14, 14).toImage(); };
    const QImage speaking = icon();
    // Not back to the 0.6 and 0.8 from before, but to full voice and the bed's level.
    for (auto [header, volume, restored, shown] :
         {std::tuple{&f.voice, &PodcastProject::voiceVolume, 1.0f, "100"},
          {&f.music, &PodcastProject::musicVolume, 0.35f, "35"}}) {
        header->muteButton().click();
        EXPECT_EQ(f.studio.project().*volume, 0.0f);
        EXPECT_EQ(header->percentage().text(), "0");
        if (header == &f.voice) {
            EXPECT_NE(icon(), speaking);
        }
        header->muteButton().click();
        EXPECT_EQ(f.studio.project().*volume, restored);
        EXPECT_EQ(header->percentage().text(), shown);
    }
    EXPECT_EQ(icon(), speaking);
    EXPECT_EQ(f.studio.undoStack->size(), 4u);

    // A slider drag is one undo step, heard live and saved at its end.
    QSlider& slider = f.voice.volumeSlider();
    slider.setSliderDown(true);
    for (int value : {90, 75, 42})
        slider.setValue(value);
    EXPECT_FLOAT_EQ(f.studio.project->voiceVolume, 0.42f);
    EXPECT_EQ(f.voice.percentage().text(), "42");
    EXPECT_EQ(f.studio.undoStack->size(), 5u);
    slider.setSliderDown(false);
    f.settle();
    EXPECT_FLOAT_EQ(testing::readProject(f.folder).voiceVolume, 0.42f);

    // The document's volume moves the slider without an edit of its own.
    f.studio.project.mutate([](PodcastProject& p) { p.musicVolume = 0.5f; });
    EXPECT_EQ(f.music.volumeSlider().value(), 50);
    EXPECT_EQ(f.studio.undoStack->size(), 5u);

    // The captions count the clips and notice music from the voice's source.
    f.voice.show();
    f.music.show();
    EXPECT_EQ(f.voice.caption().text(), "2 clips · Original intacto");
    for (auto [music, shown] :
         {std::pair{"", false}, {"Media/music-X.mp3", false}, {"Media/voice-B.caf", true}}) {
        f.studio.project.mutate([&](PodcastProject& p) {
            p.musicFile = *music ? std::optional<std::string>(music) : std::nullopt;
        });
        EXPECT_EQ(f.music.caption().isVisible(), shown) << music;
    }
    EXPECT_EQ(f.music.caption().text(), "Misma fuente que la voz");
    f.studio.position = 2.0;
    f.studio.splitClip();
    EXPECT_EQ(f.voice.caption().text(), "3 clips · Original intacto");

    ASSERT_TRUE(f.music.loadButton() && f.music.settingsButton() && f.music.autoFadesButton());
    EXPECT_FALSE(f.voice.loadButton());
    EXPECT_EQ(f.music.autoFadesButton()->text(), "Auto fades · 5s / 10s");
    f.music.loadButton()->click();
    EXPECT_EQ(f.host.audioFileRequests, 1);

    // The settings button opens the editor; closing the popover ends the editing (a click on the
    // button while it is open reaches the popover: the music editor's test).
    f.music.settingsButton()->click();
    EXPECT_TRUE(f.studio.showMusicEditor());
    ASSERT_TRUE(f.music.editorPopover());
    EXPECT_TRUE(f.music.editorPopover()->isVisible());
    f.music.editorPopover()->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(f.studio.showMusicEditor() || f.music.editorPopover());

    f.studio.busy = true;
    EXPECT_FALSE(f.music.loadButton()->isEnabled() || f.music.settingsButton()->isEnabled());
    f.studio.busy = false;
    f.studio.showMusicEditor = true;
    ASSERT_TRUE(f.startTake());
    EXPECT_FALSE(f.studio.showMusicEditor());
    EXPECT_FALSE(f.music.loadButton()->isEnabled() || f.music.settingsButton()->isEnabled());
    // Volumes wait for the take's end: it is one undo step of its own.
    for (TrackHeader* header : {&f.voice, &f.music})
        EXPECT_FALSE(header->volumeSlider().isEnabled() || header->muteButton().isEnabled());
    f.music.loadButton()->click();
    EXPECT_EQ(f.host.audioFileRequests, 1);
    ASSERT_TRUE(f.recordUntil(0.2));
    ASSERT_TRUE(f.finishTake());
    EXPECT_TRUE(f.music.loadButton()->isEnabled());
    EXPECT_TRUE(f.voice.volumeSlider().isEnabled() && f.voice.muteButton().isEnabled());
}

} // namespace
} // namespace tw
