// The chapter markers and the episode details: document edits that change nothing of the sound,
// so they neither pause playback nor rebuild the mix. Main thread.
#include "audio/ExportMetadata.hpp"
#include "studio/MediaCopy.hpp"
#include "studio/Studio.hpp"

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

// Two markers closer than this are one place on the timeline.
constexpr double samePlace = 0.001;

const Chapter* chapterOf(const PodcastProject& project, const Uuid& id)
{
    const auto found = std::find_if(project.chapters.begin(), project.chapters.end(),
                                    [&](const Chapter& chapter) { return chapter.id == id; });
    return found == project.chapters.end() ? nullptr : &*found;
}

void dropEmpty(std::optional<std::string>& text)
{
    if (text && text->empty())
        text.reset();
}

} // namespace

void Studio::addChapter()
{
    if (!idle())
        return;
    const double at = position();
    if (std::any_of(
            project->chapters.begin(), project->chapters.end(),
            [&](const Chapter& chapter) { return std::abs(chapter.time - at) < samePlace; }))
        return;
    checkpoint();
    project.mutate([&](PodcastProject& document) { document.addChapter(at, Uuid::random()); });
    save();
}

void Studio::moveChapter(const Uuid& id, double to)
{
    if (!idle())
        return;
    const double time = std::clamp(to, 0.0, std::max(duration(), 0.0));
    const Chapter* chapter = chapterOf(project(), id);
    if (!chapter || chapter->time == time)
        return;
    checkpoint();
    project.mutate([&](PodcastProject& document) { document.moveChapter(id, time); });
    save();
}

void Studio::renameChapter(const Uuid& id, const std::string& title)
{
    const Chapter* chapter = chapterOf(project(), id);
    if (!idle() || title.empty() || !chapter || chapter->title == title)
        return;
    checkpoint();
    project.mutate([&](PodcastProject& document) { document.renameChapter(id, title); });
    save();
}

void Studio::removeChapter(const Uuid& id)
{
    if (!idle() || !chapterOf(project(), id))
        return;
    checkpoint();
    project.mutate([&](PodcastProject& document) { document.removeChapter(id); });
    save();
}

void Studio::setEpisodeDetails(EpisodeDetails details,
                               const std::optional<std::filesystem::path>& newCover)
{
    if (!idle())
        return;
    if (newCover) {
        // Checked before anything is copied, so the document never names a cover it cannot use.
        Result<CoverArt> cover = readCoverArt(*newCover);
        if (!cover) {
            message = cover.error().description;
            return;
        }
        if (!ensureProject())
            return;
        const char* kind = cover.value().kind == CoverArt::Kind::png ? "cover.png" : "cover.jpg";
        const std::string name = freshMediaName("cover", kind);
        if (Result<void> copied = copyIntoProject(*newCover, *folder(), name); !copied) {
            message = copied.error().description;
            return;
        }
        details.cover = name;
    }
    for (std::optional<std::string>* text :
         {&details.title, &details.author, &details.show, &details.cover})
        dropEmpty(*text);
    if (details.title == title())
        details.title.reset();
    std::optional<EpisodeDetails> stored;
    if (details != EpisodeDetails{})
        stored = std::move(details);
    if (stored == project->episode)
        return;
    checkpoint();
    project.mutate([&](PodcastProject& document) { document.episode = std::move(stored); });
    save();
}

std::string Studio::episodeTitle() const
{
    if (project->episode && project->episode->title)
        return *project->episode->title;
    return title();
}

} // namespace tw
