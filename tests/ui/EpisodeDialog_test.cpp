#include "ui/EpisodeDialog.hpp"

#include "ui/WindowStudio.hpp"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace tw {
namespace {

QPushButton& button(QDialog& dialog, const char* text)
{
    for (QPushButton* candidate : dialog.findChildren<QPushButton*>())
        if (candidate->text() == QString::fromUtf8(text))
            return *candidate;
    throw std::runtime_error(std::string("no button ") + text);
}

TEST(EpisodeDialog, detailsAndACheckedCoverReachTheProjectOnlyWhenAccepted)
{
    testing::WindowStudio w;
    Studio& studio = w.studio;
    QImage art(300, 200, QImage::Format_RGB32);
    art.fill(QColor(200, 40, 40));
    ASSERT_TRUE(art.save(QString::fromStdString((w.temp / "art.png").string())));
    testing::writeFile(w.temp / "notes.png", "not an image");

    auto* dialog = showEpisodeDialog(studio, nullptr);
    EXPECT_EQ(dialog->windowTitle(), "Detalles del episodio");
    EXPECT_EQ(dialog->titleField().text(), "Programa") << "the project's title by default";
    EXPECT_EQ(dialog->thumbnail().text(), "Sin portada");
    EXPECT_FALSE(dialog->removeButton().isEnabled());
    std::optional<QString> answer = QString::fromStdString((w.temp / "notes.png").string());
    dialog->chooseImage = [&] { return answer; };
    QTest::mouseClick(&dialog->chooseButton(), Qt::LeftButton);
    EXPECT_EQ(dialog->thumbnail().text(), "La portada debe ser una imagen JPEG o PNG: notes.png");
    answer = QString::fromStdString((w.temp / "art.png").string());
    QTest::mouseClick(&dialog->chooseButton(), Qt::LeftButton);
    ASSERT_FALSE(dialog->thumbnail().pixmap().isNull());
    EXPECT_EQ(dialog->thumbnail().pixmap().size(), QSize(92, 61)) << "fitted, in proportion";
    QTest::keyClicks(&dialog->authorField(), QStringLiteral("Ana"));
    testing::saveScreenshot(*dialog, QStringLiteral("EpisodeDialog"));
    QTest::mouseClick(&button(*dialog, "Cancelar"), Qt::LeftButton);
    EXPECT_EQ(studio.project->episode, std::nullopt);

    // Again, accepted: one step holds the texts and the copied cover.
    dialog = showEpisodeDialog(studio, nullptr);
    dialog->chooseImage = [&] { return answer; };
    QTest::mouseClick(&dialog->chooseButton(), Qt::LeftButton);
    dialog->titleField().setText(QStringLiteral("Episodio 7"));
    dialog->authorField().setText(QStringLiteral(" Ana "));
    QTest::mouseClick(&button(*dialog, "Aceptar"), Qt::LeftButton);
    ASSERT_TRUE(studio.project->episode && studio.project->episode->cover);
    const std::string cover = *studio.project->episode->cover;
    EXPECT_EQ(studio.project->episode, (EpisodeDetails{"Episodio 7", "Ana", std::nullopt, cover}));
    EXPECT_TRUE(std::filesystem::exists(w.folder / cover));
    EXPECT_EQ(studio.undoStack->size(), 1u);

    // Reopened, it shows what is stored; removing the cover and accepting drops it.
    dialog = showEpisodeDialog(studio, nullptr);
    EXPECT_EQ(dialog->titleField().text(), "Episodio 7");
    EXPECT_EQ(dialog->authorField().text(), "Ana");
    EXPECT_FALSE(dialog->thumbnail().pixmap().isNull());
    QTest::mouseClick(&dialog->removeButton(), Qt::LeftButton);
    EXPECT_EQ(dialog->thumbnail().text(), "Sin portada");
    QTest::mouseClick(&button(*dialog, "Aceptar"), Qt::LeftButton);
    EXPECT_EQ(studio.project->episode, (EpisodeDetails{"Episodio 7", "Ana", {}, {}}));
}

} // namespace
} // namespace tw
