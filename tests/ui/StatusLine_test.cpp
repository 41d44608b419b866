#include "ui/StatusLine.hpp"

#include "ui/WindowStudio.hpp"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

#include <gtest/gtest.h>

namespace tw {

namespace {

struct Line : testing::WindowStudio {
    StatusLine line{studio};
    Line(std::vector<Segment> clips = {}) : WindowStudio(std::move(clips)) { line.show(); }
};

// The split key as the desktop names it: "Ctrl+T", or "Control+T" once the toolkit's Spanish
// texts are in (another test of the process may have put them in).
QString hint()
{
    return QStringLiteral("Arrastra una cabecera para mover un clip · ") +
           QKeySequence(Qt::CTRL | Qt::Key_T).toString(QKeySequence::NativeText) +
           QStringLiteral(" dividir · Arrastra la línea roja para escuchar desde otro punto");
}

} // namespace

TEST(StatusLine, showsTheSelectionOrTheHintAndTitleAndSaveTimeThenPreparingThenExportAndItsCancel)
{
    Line f({testing::clipAt(0, 4)});
    // On the left the selection, or else the hint.
    EXPECT_EQ(f.line.leftText().text(), hint());
    f.studio.selection = TimeRange{3725.456, 3730};
    EXPECT_EQ(f.line.leftText().text(), "Selección: 01:02:05.45 – 01:02:10.00");
    f.studio.selection = std::nullopt;
    EXPECT_EQ(f.line.leftText().text(), hint());

    EXPECT_EQ(f.line.statusText().text(), "Programa · Sin guardar");
    // A long title gives way in its middle; how it was saved stays whole.
    f.studio.folder =
        f.temp / "Entrevista con la directora del festival de cine 2025.podcastproject";
    const QString elided = f.line.statusText().text();
    EXPECT_TRUE(elided.startsWith("Entrevista") && elided.contains("…") &&
                elided.endsWith("2025 · Sin guardar"))
        << elided.toStdString();
    EXPECT_LE(f.line.statusText().fontMetrics().horizontalAdvance(elided), StatusLine::statusWidth);
    f.studio.folder = f.folder;
    f.studio.save();
    f.settle();
    const QString saved = f.line.statusText().text();
    EXPECT_TRUE(saved.startsWith("Programa · Guardado ")) << saved.toStdString();
    const QString time = saved.mid(QStringLiteral("Programa · Guardado ").size());
    EXPECT_TRUE(QLocale().toTime(time, QLocale::ShortFormat).isValid()) << time.toStdString();

    // A long operation without a count-in.
    f.studio.busy = true;
    EXPECT_EQ(f.line.statusText().text(), "Preparando audio…");
    f.studio.countdown = 2;
    EXPECT_TRUE(f.line.statusText().text().startsWith("Programa · Guardado "));
    f.studio.countdown = std::nullopt;

    // An export in progress: its bar, percentage and cancel button instead of the title.
    for (auto [progress, shown] : {std::pair{0.999f, "99 %"}, {1.0f, "100 %"}}) {
        f.studio.exportProgress = progress;
        EXPECT_TRUE(f.line.showsExport() && f.line.exportBar().isVisible() &&
                    f.line.cancelButton().isVisible() && !f.line.statusText().isVisible());
        EXPECT_EQ(f.line.exportPercentage().text(), shown);
    }
    f.studio.exportProgress = std::nullopt;
    EXPECT_FALSE(f.line.showsExport() || f.line.exportBar().isVisible());
    EXPECT_EQ(f.line.statusText().text(), "Preparando audio…");
    f.studio.busy = false;
    EXPECT_TRUE(f.line.statusText().text().startsWith("Programa · Guardado "));

    // Cancel stops a running export and the title comes back.
    ASSERT_TRUE(f.openTone(120.0));
    f.host.exportAnswers.push_back(f.temp / "Programa.m4a");
    f.studio.exportProject();
    ASSERT_TRUE(f.waitUntil([&] { return f.studio.activeExport || !f.studio.busy(); }));
    ASSERT_TRUE(f.line.showsExport()) << f.studio.message().value_or("");

    f.line.cancelButton().click();
    ASSERT_TRUE(f.waitIdle());
    EXPECT_FALSE(f.studio.exportProgress() || f.line.showsExport());
    EXPECT_TRUE(f.line.statusText().text().startsWith("Programa · "));
}

} // namespace tw
