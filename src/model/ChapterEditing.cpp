// The chapter edits of the document. Times below zero become zero; a time that is not finite or an
// empty title is no edit at all, so the document never holds what it could not be opened with.
#include "model/PodcastProject.hpp"

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

void keepInTimeOrder(std::vector<Chapter>& chapters)
{
    std::stable_sort(chapters.begin(), chapters.end(),
                     [](const Chapter& a, const Chapter& b) { return a.time < b.time; });
}

Chapter* find(std::vector<Chapter>& chapters, const Uuid& id)
{
    auto found = std::find_if(chapters.begin(), chapters.end(),
                              [&](const Chapter& chapter) { return chapter.id == id; });
    return found == chapters.end() ? nullptr : &*found;
}

} // namespace

void PodcastProject::addChapter(double at, const Uuid& id)
{
    if (!std::isfinite(at))
        return;
    auto taken = [&](const std::string& title) {
        return std::any_of(chapters.begin(), chapters.end(),
                           [&](const Chapter& chapter) { return chapter.title == title; });
    };
    std::size_t number = chapters.size() + 1;
    while (taken("Capítulo " + std::to_string(number)))
        ++number;
    chapters.push_back(Chapter{id, std::max(at, 0.0), "Capítulo " + std::to_string(number)});
    keepInTimeOrder(chapters);
}

void PodcastProject::moveChapter(const Uuid& id, double to)
{
    Chapter* chapter = find(chapters, id);
    if (!chapter || !std::isfinite(to))
        return;
    Chapter moved = *chapter;
    moved.time = std::max(to, 0.0);
    removeChapter(id);
    keepInTimeOrder(chapters);
    // Last among equal times: dropped onto another marker, it follows it.
    auto after =
        std::upper_bound(chapters.begin(), chapters.end(), moved.time,
                         [](double time, const Chapter& chapter) { return time < chapter.time; });
    chapters.insert(after, std::move(moved));
}

void PodcastProject::renameChapter(const Uuid& id, const std::string& title)
{
    if (Chapter* chapter = find(chapters, id); chapter && !title.empty())
        chapter->title = title;
}

void PodcastProject::removeChapter(const Uuid& id)
{
    std::erase_if(chapters, [&](const Chapter& chapter) { return chapter.id == id; });
}

} // namespace tw
