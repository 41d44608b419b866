// The clip clipboard (copy, and paste with its background media copy), music import and removal.
// Main thread; the paste's file copies run on the global thread pool.
#include "audio/AudioFileReader.hpp"
#include "studio/MainThread.hpp"
#include "studio/MediaCopy.hpp"
#include "studio/Studio.hpp"
#include "studio/StudioHost.hpp"

#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>

namespace tw {

void Studio::copySelection()
{
    if (!idle() || !selection() || !folder())
        return;
    const TimeRange range = *selection();
    std::vector<Segment> clips = project->copiedClips(range);
    if (clips.empty())
        return;
    audioClipboard = AudioClipboard{std::move(clips), range.upper - range.lower, *folder()};
    canPaste = true;
}

void Studio::pasteClips()
{
    if (!idle() || !audioClipboard || !folder())
        return;
    const double at = position();
    busy = true;
    (void)QtConcurrent::run(
        [clipboard = *audioClipboard, target = *folder(), at, studio = QPointer<Studio>(this)] {
            Result<std::vector<Segment>> prepared =
                preparePastedClips(clipboard.clips, clipboard.folder, target);
            runOnMainThread([studio, prepared, duration = clipboard.duration, at] {
                if (studio)
                    studio->applyPaste(prepared, duration, at);
            });
        });
}

void Studio::applyPaste(const Result<std::vector<Segment>>& prepared, double duration, double at)
{
    if (!prepared) {
        busy = false;
        message = "No se pudo pegar el audio: " + prepared.error().description;
        return;
    }
    checkpoint();
    project.mutate(
        [&](PodcastProject& document) { document.paste(prepared.value(), duration, at); });
    changed();
    busy = false;
    loadPeaks(false, true); // the pasted files need envelopes
}

namespace {

// The music is placed from its start, at the programme's start, with the automatic fades.
void forgetMusicPlacement(PodcastProject& document)
{
    document.musicSourceStart.reset();
    document.musicLength.reset();
    document.musicOffset.reset();
    document.fadeInStart.reset();
    document.fadeInEnd.reset();
    document.fadeOutStart.reset();
    document.fadeOutEnd.reset();
}

// A file is imported only when it opens as audio and its first samples decode.
Result<void> checkDecodable(const std::filesystem::path& file)
{
    auto reader = AudioFileReader::open(file);
    if (!reader)
        return reader.error();
    std::vector<float> block(static_cast<std::size_t>(1024 * reader.value()->channels()));
    if (Result<int> read = reader.value()->read(block.data(), 1024); !read)
        return read.error();
    return {};
}

} // namespace

void Studio::importMusic()
{
    if (!idle() || !ensureProject())
        return;
    const std::optional<std::filesystem::path> chosen = host_.chooseAudioFile();
    if (!chosen || chosen->empty())
        return;
    // Checked before anything is copied, so the document never names a file it cannot play.
    if (Result<void> decodable = checkDecodable(*chosen); !decodable) {
        message = decodable.error().description;
        return;
    }
    const std::string name = freshMediaName("music", *chosen);
    if (Result<void> copied = copyIntoProject(*chosen, *folder(), name); !copied) {
        message = copied.error().description;
        return;
    }
    checkpoint();
    project.mutate([&](PodcastProject& document) {
        document.musicFile = name;
        document.fadeIn = 5;
        document.fadeOut = 10;
        forgetMusicPlacement(document);
    });
    changed();
    loadPeaks(false, true); // also sets musicDuration
}

void Studio::removeMusic()
{
    if (!idle() || !project->musicFile)
        return;
    checkpoint();
    project.mutate([](PodcastProject& document) {
        document.musicFile.reset();
        forgetMusicPlacement(document);
    });
    musicPeaks = {};
    musicDuration = 0.0; // before changed(), which clamps the play head to the shorter programme
    changed();
}

} // namespace tw
