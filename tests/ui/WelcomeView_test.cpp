#include "ui/UiApplication.hpp"
#include "ui/WelcomeView.hpp"

#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace tw {

namespace {

bool showsText(const QWidget& view, const QString& text)
{
    for (const QLabel* label : view.findChildren<QLabel*>())
        if (label->text() == text && label->isVisible())
            return true;
    return false;
}

void showSheet(WelcomeView& view)
{
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
}

} // namespace

TEST(WelcomeView, projectNamesDropTheFolderExtension)
{
    EXPECT_EQ(WelcomeView::projectName("/home/ana/Mi podcast.podcastproject"), "Mi podcast");
    EXPECT_EQ(WelcomeView::projectName("/home/ana/Entrevista.podcastproject/"), "Entrevista");
    EXPECT_EQ(WelcomeView::projectName("/home/ana/Sin extension"), "Sin extension");
    EXPECT_EQ(WelcomeView::projectName("/home/ana/v1.2.podcastproject"), "v1.2");
}

TEST(WelcomeView, withoutARecentProjectOnlyOpenAndCreateAreOffered)
{
    testing::uiApplication();
    testing::TempFolder temp;
    testing::StudioFixture fixture;
    // A remembered folder that no longer holds a project counts as none.
    std::filesystem::create_directories(temp / "Borrado.podcastproject");
    fixture.settings.setValue("lastProject", (temp / "Borrado.podcastproject").string());
    WelcomeView view(fixture.studio);
    showSheet(view);

    EXPECT_FALSE(view.continueButton().isVisible());
    EXPECT_TRUE(view.openButton().isVisible());
    EXPECT_TRUE(view.newButton().isVisible());
    EXPECT_EQ(view.openButton().text(), "Abrir un proyecto guardado…");
    EXPECT_EQ(view.newButton().text(), "Crear un proyecto nuevo");
    EXPECT_EQ(view.closeButton().text(), "Cerrar");
    EXPECT_TRUE(showsText(view, "Bobinet 2"));
    EXPECT_TRUE(showsText(view, "¿Con qué proyecto quieres trabajar?"));
    EXPECT_TRUE(showsText(view, "Tus grabaciones y proyectos se conservan en este equipo."));
    EXPECT_EQ(view.openButton().width(), WelcomeView::buttonWidth);
    testing::saveScreenshot(view, "welcome");
}

TEST(WelcomeView, continuesTheRecentProjectShownByItsName)
{
    testing::uiApplication();
    testing::TempFolder temp;
    testing::StudioFixture fixture;
    const std::filesystem::path folder = temp / "Entrevista.podcastproject";
    testing::writeProject(folder, PodcastProject{});
    fixture.settings.setValue("lastProject", folder.string());
    WelcomeView view(fixture.studio);
    showSheet(view);

    ASSERT_TRUE(view.continueButton().isVisible());
    EXPECT_EQ(view.continueButton().accessibleName(), "Continuar el último proyecto");
    EXPECT_EQ(view.recentName(), "Entrevista");
    EXPECT_TRUE(showsText(view, "Continuar el último proyecto"));
    EXPECT_TRUE(view.openButton().isVisible());
    EXPECT_TRUE(view.newButton().isVisible());
    testing::saveScreenshot(view, "welcome-recent");

    QTest::mouseClick(&view.continueButton(), Qt::LeftButton);
    ASSERT_TRUE(fixture.waitIdle());
    EXPECT_EQ(fixture.studio.folder(), folder);
    EXPECT_FALSE(fixture.studio.showWelcome());
    EXPECT_FALSE(view.isVisible());
    EXPECT_EQ(fixture.host.openRequests, 0);
}

TEST(WelcomeView, openAndCreateAskTheHostAndStayWhenCancelled)
{
    testing::uiApplication();
    testing::TempFolder temp;
    testing::StudioFixture fixture;
    WelcomeView view(fixture.studio);
    showSheet(view);

    // Both dialogs cancelled: the sheet stays.
    QTest::mouseClick(&view.openButton(), Qt::LeftButton);
    QTest::mouseClick(&view.newButton(), Qt::LeftButton);
    EXPECT_EQ(fixture.host.openRequests, 1);
    EXPECT_EQ(fixture.host.newProjectRequests, 1);
    EXPECT_TRUE(fixture.studio.showWelcome());
    EXPECT_TRUE(view.isVisible());

    // A failed open is the Studio's message; the sheet stays for another choice.
    fixture.host.openAnswers.push_back(temp / "Nada.podcastproject");
    QTest::mouseClick(&view.openButton(), Qt::LeftButton);
    EXPECT_TRUE(fixture.studio.message().has_value());
    EXPECT_TRUE(view.isVisible());

    // A new project created from the sheet closes it.
    const std::filesystem::path created = temp / "Nuevo.podcastproject";
    fixture.host.newProjectAnswers.push_back(created);
    QTest::mouseClick(&view.newButton(), Qt::LeftButton);
    EXPECT_EQ(fixture.host.newProjectRequests, 2);
    EXPECT_EQ(fixture.studio.folder(), created);
    EXPECT_FALSE(fixture.studio.showWelcome());
    EXPECT_FALSE(view.isVisible());
    fixture.settle();
    EXPECT_TRUE(std::filesystem::exists(created / "project.json"));

    // Shown again later (the recent project now exists), opening a saved project closes it.
    fixture.studio.showWelcome = true;
    showSheet(view);
    EXPECT_TRUE(view.continueButton().isVisible());
    EXPECT_EQ(view.recentName(), "Nuevo");
    fixture.host.openAnswers.push_back(created);
    QTest::mouseClick(&view.openButton(), Qt::LeftButton);
    ASSERT_TRUE(fixture.waitIdle());
    EXPECT_FALSE(fixture.studio.showWelcome());
    EXPECT_FALSE(view.isVisible());
}

TEST(WelcomeView, escapeClosesExactlyAsCerrarDoes)
{
    testing::uiApplication();
    testing::StudioFixture fixture;
    WelcomeView view(fixture.studio);
    const PodcastProject before = fixture.studio.project();

    showSheet(view);
    QTest::mouseClick(&view.closeButton(), Qt::LeftButton);
    EXPECT_FALSE(fixture.studio.showWelcome());
    EXPECT_FALSE(view.isVisible());
    EXPECT_EQ(view.result(), QDialog::Rejected);

    fixture.studio.showWelcome = true;
    showSheet(view);
    QTest::keyClick(&view.newButton(), Qt::Key_Escape);
    EXPECT_FALSE(fixture.studio.showWelcome());
    EXPECT_FALSE(view.isVisible());
    EXPECT_EQ(view.result(), QDialog::Rejected);

    // The user is left with whatever project was loaded, untouched, and nothing was asked.
    EXPECT_EQ(fixture.studio.project(), before);
    EXPECT_FALSE(fixture.studio.folder().has_value());
    EXPECT_EQ(fixture.host.openRequests + fixture.host.newProjectRequests, 0);

    // The window's own close button counts as closing too.
    fixture.studio.showWelcome = true;
    showSheet(view);
    view.close();
    EXPECT_FALSE(fixture.studio.showWelcome());
}

} // namespace tw
