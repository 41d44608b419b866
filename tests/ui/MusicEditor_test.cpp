#include "ui/MusicEditor.hpp"
#include "ui/TrackHeader.hpp"
#include "ui/WindowStudio.hpp"

#include <QApplication>
#include <QLineEdit>
#include <QLocale>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

#include <cmath>

namespace tw {

namespace {

enum Row { sourceStart, length, offset, inStart, inEnd, outStart, outEnd };

// A project with a 20 s music file, opened so that the Studio knows the music's length, with
// numbers written the C locale's way while it lives.
struct Music : testing::WindowStudio {
    Music()
    {
        QLocale::setDefault(QLocale::c());
        testing::makeTone(folder / "Media/music-A.wav", 20.0, 220);
        PodcastProject document;
        document.musicFile = "Media/music-A.wav";
        EXPECT_TRUE(open(document) && std::abs(studio.musicDuration() - 20.0) < 1e-6);
    }
    ~Music() { QLocale::setDefault(QLocale::system()); }
    // A popover opened from anchor, shown.
    QPointer<MusicEditorPopover> popover(QWidget& anchor)
    {
        studio.showMusicEditor = true;
        QPointer<MusicEditorPopover> opened = MusicEditorPopover::open(studio, &anchor);
        EXPECT_TRUE(QTest::qWaitForWindowExposed(opened.data()));
        return opened;
    }
};

// Whether popover is gone once deferred deletions ran.
bool closed(const QPointer<MusicEditorPopover>& popover)
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return popover.isNull();
}

// Types text over everything in a row as a person would, then presses key, if any.
void type(MusicEditor& editor, int row, const QString& text, Qt::Key key = Qt::Key_unknown)
{
    QLineEdit& field = editor.field(row);
    field.setFocus();
    field.selectAll();
    QTest::keyClicks(&field, text);
    if (key != Qt::Key_unknown)
        QTest::keyClick(&field, key);
}

// Types text into a row, then leaves the field (the focus moves to the next one): the edit ends.
void enter(MusicEditor& editor, int row, const QString& text)
{
    type(editor, row, text);
    editor.field((row + 1) % MusicEditor::rowCount).setFocus();
    QApplication::processEvents();
}

TEST(MusicEditor, enteredValuesAreClampedFallBackAndKeepTheFadesInOrder)
{
    Music f;
    // Seconds shown with at most two decimals in the user's locale, and read back in it.
    for (auto [locale, seconds, shown] :
         {std::tuple{QLocale::c(), 12.0, "12"},
          {QLocale::c(), 2.5, "2.5"},
          {QLocale::c(), 1.23456, "1.23"},
          {QLocale(QLocale::Spanish, QLocale::Spain), 2.5, "2,5"},
          {QLocale(QLocale::Spanish, QLocale::Spain), 1.999, "2"}}) {
        QLocale::setDefault(locale);
        EXPECT_EQ(MusicEditor::formatSeconds(seconds), shown);
    }
    EXPECT_EQ(MusicEditor::parseSeconds("2,5"), 2.5);
    QLocale::setDefault(QLocale::c());
    EXPECT_EQ(MusicEditor::parseSeconds(" 7.25 "), 7.25);
    EXPECT_TRUE(std::isnan(MusicEditor::parseSeconds("siete")));
    Studio& studio = f.studio;
    MusicEditor editor(studio);
    testing::showActive(editor);
    const std::size_t steps = studio.undoStack().size();

    // What is typed, what the project then holds, and the fades: out of
    // range it is clamped, not a number the value shown before is kept, a fade-in end later than
    // the fade-out start pushes it along, a shorter fragment brings every fade point inside it.
    using Field = std::optional<double> PodcastProject::*;
    const struct {
        Row row;
        const char* typed;
        Field field;
        double stored;
        testing::Points fades;
    } entries[] = {
        {offset, "100000", &PodcastProject::musicOffset, 86400, {0.0, 5.0, 10.0, 20.0}},
        {sourceStart, "-5", &PodcastProject::musicSourceStart, 0, {0.0, 5.0, 10.0, 20.0}},
        {outEnd, "50", &PodcastProject::fadeOutEnd, 20, {0.0, 5.0, 10.0, 20.0}},
        {length, "veinte", &PodcastProject::musicLength, 20, {0.0, 5.0, 10.0, 20.0}},
        {inEnd, "15", &PodcastProject::fadeInEnd, 15, {0.0, 15.0, 15.0, 20.0}},
        {length, "8", &PodcastProject::musicLength, 8, {0.0, 8.0, 8.0, 8.0}},
    };
    for (std::size_t i = 0; i < std::size(entries); ++i) {
        const auto& entry = entries[i];
        enter(editor, entry.row, entry.typed);
        EXPECT_EQ(studio.project().*entry.field, entry.stored) << entry.typed;
        EXPECT_EQ(testing::fadePoints(studio.project()), entry.fades) << entry.typed;
        EXPECT_EQ(studio.undoStack().size(), steps + i + 1) << "each edit its own undo step";
    }

    // Focusing a field and leaving it untouched records nothing.
    const std::size_t before = studio.undoStack().size();
    editor.field(offset).setFocus();
    editor.field(inStart).setFocus();
    QApplication::processEvents();
    EXPECT_EQ(studio.undoStack().size(), before);
}

TEST(MusicEditor, listoReturnEscapeAndAClickOnTheAnchorFinishTheEditAndCloseThePopover)
{
    Music f;
    QPushButton anchor("Ajustes…");
    anchor.resize(90, 24);
    testing::showActive(anchor);
    QPointer<MusicEditorPopover> popover = f.popover(anchor);
    testing::saveScreenshot(popover->editor(), "music-editor");

    // Return, or Escape, in a field commits what was typed, then acts as "Listo".
    for (auto [key, row, typed] :
         {std::tuple{Qt::Key_Return, offset, "3.25"}, {Qt::Key_Escape, inStart, "1.5"}}) {
        if (!popover)
            popover = f.popover(anchor);
        type(popover->editor(), row, typed, key);
        QApplication::processEvents();
        EXPECT_FALSE(f.studio.showMusicEditor());
        EXPECT_TRUE(closed(popover));
    }
    EXPECT_EQ(f.studio.project().musicOffset, 3.25);
    EXPECT_EQ(f.studio.project().fadeInStart, 1.5);

    // "Listo" clicked closes it too.
    popover = f.popover(anchor);
    QTest::mouseClick(&popover->editor().doneButton(), Qt::LeftButton);
    EXPECT_FALSE(f.studio.showMusicEditor());
    EXPECT_TRUE(closed(popover));

    // A click on the anchor closes the popover without opening it again.
    TrackHeader header(f.studio, TrackHeader::Kind::music);
    testing::showActive(header);
    QToolButton& settings = *header.settingsButton();
    QTest::mouseClick(&settings, Qt::LeftButton);
    popover = header.editorPopover();
    ASSERT_FALSE(popover.isNull());
    ASSERT_TRUE(QTest::qWaitForWindowExposed(popover.data()));

    // The press lands on the popover (it has the mouse) outside its frame, over the anchor.
    const QPoint onAnchor = popover->mapFromGlobal(settings.mapToGlobal(settings.rect().center()));
    QTest::mouseClick(popover.data(), Qt::LeftButton, {}, onAnchor);
    QApplication::processEvents();
    EXPECT_TRUE(closed(popover));
    EXPECT_FALSE(f.studio.showMusicEditor());

    // An anchor that goes away takes its open popover with it (focus returns to the window):
    // text typed but never committed stays out of the project.
    QWidget window;
    auto* doomed = new QPushButton("Ajustes…", &window);
    QLineEdit focusedBefore(&window);
    focusedBefore.move(0, 40);
    testing::showActive(window);
    focusedBefore.setFocus();
    popover = f.popover(*doomed);
    type(popover->editor(), inEnd, "3");
    const PodcastProject typedOnly = f.studio.project();
    delete doomed;
    EXPECT_TRUE(popover.isNull());
    EXPECT_EQ(f.studio.project(), typedOnly);
}

} // namespace
} // namespace tw
