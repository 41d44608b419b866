#include "ui/WelcomeView.hpp"

#include "ui/WindowStudio.hpp"

#include <QLabel>
#include <QPushButton>

#include <gtest/gtest.h>

namespace tw {
namespace {

struct Sheet : testing::UiFirst, testing::StudioFixture {
    std::unique_ptr<WelcomeView> view;
    // The sheet as it shows with lastProject remembering recent (if any).
    void show(const std::optional<std::filesystem::path>& recent = std::nullopt)
    {
        if (recent)
            settings.setValue("lastProject", recent->string());
        if (!view)
            view = std::make_unique<WelcomeView>(studio);
        studio.showWelcome = true;
        view->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
    }
    bool showsText(const QString& text)
    {
        for (const QLabel* label : view->findChildren<QLabel*>())
            if (label->text() == text && label->isVisible())
                return true;
        return false;
    }
};

TEST(WelcomeView, offersTheRecentProjectOnlyWhileItHoldsADocumentAndContinuesIt)
{
    Sheet f;
    // A remembered folder that no longer holds a project counts as none.
    std::filesystem::create_directories(f.temp / "Borrado.podcastproject");
    f.show(f.temp / "Borrado.podcastproject");
    WelcomeView& view = *f.view;
    EXPECT_FALSE(view.continueButton().isVisible());
    EXPECT_TRUE(view.openButton().isVisible() && view.newButton().isVisible());
    EXPECT_FALSE(f.showsText("Continuar el último proyecto"));
    testing::saveScreenshot(view, "welcome");

    testing::writeProject(f.folder, PodcastProject{});
    f.show(f.folder);
    ASSERT_TRUE(view.continueButton().isVisible());
    EXPECT_EQ(view.recentName(), "Programa");
    EXPECT_TRUE(f.showsText("Continuar el último proyecto"));
    EXPECT_TRUE(view.openButton().isVisible() && view.newButton().isVisible());
    testing::saveScreenshot(view, "welcome-recent");

    QTest::mouseClick(&view.continueButton(), Qt::LeftButton);
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(f.studio.folder(), f.folder);
    EXPECT_FALSE(f.studio.showWelcome() || view.isVisible());
    EXPECT_EQ(f.host.openRequests, 0);
}

TEST(WelcomeView, openAndCreateAskTheHostStayWhenCancelledAndCloseLikeCerrarOrEscape)
{
    Sheet f;
    f.show();
    WelcomeView& view = *f.view;
    const PodcastProject before = f.studio.project();

    // Cerrar, Escape and the window's own close button close it alike: the user is left with
    // whatever project was loaded, untouched, and nothing was asked.
    for (int way = 0; way < 3; ++way) {
        f.show();
        if (way == 0)
            QTest::mouseClick(&view.closeButton(), Qt::LeftButton);
        else if (way == 1)
            QTest::keyClick(&view.newButton(), Qt::Key_Escape);
        else
            view.close();
        EXPECT_FALSE(f.studio.showWelcome() || view.isVisible());
        EXPECT_EQ(view.result(), QDialog::Rejected);
    }
    EXPECT_EQ(f.studio.project(), before);
    EXPECT_FALSE(f.studio.folder().has_value());
    EXPECT_EQ(f.host.openRequests + f.host.newProjectRequests, 0);

    // Both dialogs cancelled, and a failed open (the Studio's message): the sheet stays.
    f.show();
    QTest::mouseClick(&view.openButton(), Qt::LeftButton);
    QTest::mouseClick(&view.newButton(), Qt::LeftButton);
    f.host.openAnswers.push_back(f.temp / "Nada.podcastproject");
    QTest::mouseClick(&view.openButton(), Qt::LeftButton);
    EXPECT_EQ(f.host.openRequests, 2);
    EXPECT_EQ(f.host.newProjectRequests, 1);
    EXPECT_TRUE(f.studio.message().has_value());
    EXPECT_TRUE(f.studio.showWelcome() && view.isVisible());

    // A new project created from the sheet closes it.
    f.host.newProjectAnswers.push_back(f.folder);
    QTest::mouseClick(&view.newButton(), Qt::LeftButton);
    EXPECT_EQ(f.studio.folder(), f.folder);
    EXPECT_FALSE(f.studio.showWelcome() || view.isVisible());
    f.settle();
    EXPECT_TRUE(std::filesystem::exists(f.folder / "project.json"));

    // Shown again later (the recent project now exists), opening a saved project closes it.
    f.show();
    EXPECT_TRUE(view.continueButton().isVisible());
    f.host.openAnswers.push_back(f.folder);
    QTest::mouseClick(&view.openButton(), Qt::LeftButton);
    ASSERT_TRUE(f.waitIdle());
    EXPECT_FALSE(f.studio.showWelcome() || view.isVisible());
}

} // namespace
} // namespace tw
