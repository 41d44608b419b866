#include "ui/MessageAlert.hpp"

#include "ui/WindowStudio.hpp"

#include <QMessageBox>
#include <QPushButton>

#include <gtest/gtest.h>

namespace tw {

namespace {

using testing::WindowStudio;

struct Alert : WindowStudio {
    QWidget window;
    MessageAlert alert{studio, &window};
    Alert()
    {
        window.resize(400, 300);
        window.show();
    }
};

} // namespace

TEST(MessageAlert, showsTheMessageAndAceptarClearsIt)
{
    Alert f;
    EXPECT_FALSE(f.alert.box());
    f.studio.message = std::string("No se pudo guardar el proyecto: disco lleno");
    QMessageBox* box = f.alert.box();
    ASSERT_TRUE(box);
    EXPECT_TRUE(box->isVisible());
    EXPECT_EQ(box->windowTitle(), "Bobinet 2");
    EXPECT_EQ(box->text(), "No se pudo guardar el proyecto: disco lleno");
    ASSERT_EQ(box->buttons().size(), 1);
    EXPECT_EQ(box->buttons().front()->text(), "Aceptar");

    box->buttons().front()->click();
    EXPECT_FALSE(f.studio.message());
    EXPECT_FALSE(f.alert.box());

    // A second message opens the alert again.
    f.studio.message = std::string("Exportación completada: Programa.m4a");
    ASSERT_TRUE(f.alert.box());
    EXPECT_EQ(f.alert.box()->text(), "Exportación completada: Programa.m4a");
}

TEST(MessageAlert, anyDismissalClearsTheMessageAndAClearedMessageClosesTheAlert)
{
    Alert f;
    f.studio.message = std::string("Primero");
    ASSERT_TRUE(f.alert.box());
    // A newer message is added under the one on screen, which stays first; once.
    f.studio.message = std::string("Segundo");
    f.studio.message = std::string("Primero");
    EXPECT_EQ(f.alert.box()->text(), "Primero\nSegundo");

    f.alert.box()->reject(); // Escape or the window's close button
    EXPECT_FALSE(f.studio.message());
    EXPECT_FALSE(f.alert.box());

    f.studio.message = std::string("Tercero");
    QPointer<QMessageBox> box = f.alert.box();
    ASSERT_TRUE(box);
    f.studio.message = std::nullopt;
    EXPECT_FALSE(f.alert.box());
    EXPECT_TRUE(!box || !box->isVisible());
    EXPECT_FALSE(f.studio.message());
}

} // namespace tw
