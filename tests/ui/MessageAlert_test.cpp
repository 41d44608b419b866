#include "ui/MessageAlert.hpp"

#include "ui/WindowStudio.hpp"

#include <QMessageBox>
#include <QPushButton>

#include <gtest/gtest.h>

namespace tw {

namespace {

struct Alert : testing::WindowStudio {
    QWidget window;
    MessageAlert alert{studio, &window};
    Alert() { testing::showAt(window, {400, 300}); }
};

} // namespace

TEST(MessageAlert, showsTheMessageAnyDismissalClearsItAndAClearedMessageClosesTheAlert)
{
    Alert f;
    EXPECT_FALSE(f.alert.box());
    f.studio.message = std::string("No se pudo guardar el proyecto: disco lleno");
    QMessageBox* box = f.alert.box();
    ASSERT_TRUE(box);
    EXPECT_TRUE(box->isVisible());
    EXPECT_EQ(box->text(), "No se pudo guardar el proyecto: disco lleno");
    box->buttons().front()->click();
    EXPECT_FALSE(f.studio.message() || f.alert.box());

    // A newer message is added under the one on screen, which stays first; once.
    f.studio.message = std::string("Primero");
    f.studio.message = std::string("Segundo");
    f.studio.message = std::string("Primero");
    ASSERT_TRUE(f.alert.box());
    EXPECT_EQ(f.alert.box()->text(), "Primero\nSegundo");
    f.alert.box()->reject(); // Escape or the window's close button
    EXPECT_FALSE(f.studio.message() || f.alert.box());

    f.studio.message = std::string("Tercero");
    QPointer<QMessageBox> third = f.alert.box();
    ASSERT_TRUE(third);
    f.studio.message = std::nullopt;
    EXPECT_FALSE(f.alert.box());
    EXPECT_TRUE(!third || !third->isVisible());
}

} // namespace tw
