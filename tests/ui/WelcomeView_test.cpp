#include "ui/WelcomeView.hpp"

#include "ui/WindowStudio.hpp"

#include <QLabel>
#include <QPushButton>

#include <gtest/gtest.h>

#include <functional>

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
};

TEST(WelcomeView, offersAnExistingRecentProjectClosesOnceOneIsOpenAndLikeCerrarOrEscape)
{
    Sheet f;
    // A remembered folder that no longer holds a project counts as none.
    std::filesystem::create_directories(f.temp / "Borrado.podcastproject");
    f.show(f.temp / "Borrado.podcastproject");
    WelcomeView& view = *f.view;
    EXPECT_FALSE(view.continueButton().isVisible());
    EXPECT_TRUE(view.openButton().isVisible() && view.newButton().isVisible());
    testing::saveScreenshot(view, "welcome");
    const PodcastProject before = f.studio.project();

    // Cerrar, Escape and the window's own close button close it alike: the user is left with
    // whatever project was loaded, untouched, and nothing was asked.
    const std::vector<std::function<void()>> dismissals = {
        [&] { QTest::mouseClick(&view.closeButton(), Qt::LeftButton); },
        [&] { QTest::keyClick(&view.newButton(), Qt::Key_Escape); }, [&] { view.close(); }};
    for (const auto& dismiss : dismissals) {
        f.show();
        dismiss();
        EXPECT_FALSE(f.studio.showWelcome() || view.isVisible());
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

    // Shown again later, opening a saved project closes it.
    const auto other = f.temp / "Otro.podcastproject";
    testing::writeProject(other, PodcastProject{});
    f.show();
    f.host.openAnswers.push_back(other);
    QTest::mouseClick(&view.openButton(), Qt::LeftButton);
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(f.studio.folder(), other);
    EXPECT_FALSE(f.studio.showWelcome() || view.isVisible());

    // The recent project that exists is offered, and continuing it opens it without a dialog.
    const int asked = f.host.openRequests;
    f.show(f.folder);
    ASSERT_TRUE(view.continueButton().isVisible());
    EXPECT_EQ(view.recentName(), "Programa");
    testing::saveScreenshot(view, "welcome-recent");
    QTest::mouseClick(&view.continueButton(), Qt::LeftButton);
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(f.studio.folder(), f.folder);
    EXPECT_FALSE(f.studio.showWelcome() || view.isVisible());
    EXPECT_EQ(f.host.openRequests, asked);
}

} // namespace
} // namespace tw
