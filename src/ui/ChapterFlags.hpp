// The chapter markers on the time ruler: one flag per chapter, its pole at x = time × zoom and its
// title on a tab. A drag moves the chapter (one undo step, at the release), a click jumps the
// play head to it, a double-click opens the title for editing in place (Return keeps it, Escape
// drops it) and its context menu renames or deletes it. Every gesture is refused while a take or
// a long operation runs. The flags are children of the ruler, so the ruler's own seeking works
// everywhere else. Main thread.
#pragma once

// Hidden from moc, which cannot parse the standard library's concepts that these include.
#ifndef Q_MOC_RUN
#include "base/Uuid.hpp"
#include "model/Chapter.hpp"
#endif

#include <QWidget>

#include <functional>
#include <optional>
#include <vector>

class QLineEdit;
class QMenu;

namespace tw {

class Studio;
enum class StudioField;

// The menu of one chapter: "Renombrar capítulo" runs rename, "Eliminar capítulo" deletes it; both
// enabled while the Studio is idle.
QMenu* makeChapterMenu(Studio& studio, const Chapter& chapter, std::function<void()> rename,
                       QWidget* parent);

class ChapterFlag final : public QWidget {
    Q_OBJECT

public:
    static constexpr int poleWidth = 2;
    static constexpr int tabHeight = 15;
    static constexpr int widestTitle = 140;

    // rename opens the title editor over this flag.
    ChapterFlag(Studio& studio, std::function<void(const Uuid&)> rename, QWidget* ruler);

    // Shows chapter at zoom: placed, sized to its title and masked to pole and tab.
    void showChapter(const Chapter& chapter, double zoom);
    const Chapter& chapter() const { return chapter_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void place(double time);

    Studio& studio_;
    std::function<void(const Uuid&)> rename_;
    Chapter chapter_;
    double zoom_ = 1;
    std::optional<double> pressedAt_; // global x of the press, while the button is down
    std::optional<double> dragTime_;  // where the drag holds the chapter, once it moved
};

class ChapterFlags final : public QObject {
    Q_OBJECT

public:
    explicit ChapterFlags(Studio& studio, QWidget& ruler);

    // The shown flags, in the document's order.
    std::vector<ChapterFlag*> flags() const;
    // Opens the title editor over the chapter's flag.
    void rename(const Uuid& id);
    QLineEdit& editor() const { return *editor_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void fieldChanged(StudioField field);
    void sync();
    void finishRename(bool keep);

    Studio& studio_;
    QWidget& ruler_;
    std::vector<ChapterFlag*> pool_; // never deleted while shown: one may hold the mouse
    QLineEdit* editor_;
    std::optional<Uuid> renaming_;
};

} // namespace tw
