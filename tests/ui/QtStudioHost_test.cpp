#include "ui/QtStudioHost.hpp"

#include "studio/Studio.hpp"
#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"
#include "ui/UiApplication.hpp"

#include <QFileDialog>
#include <QLineEdit>
#include <QListView>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

namespace tw {
namespace {

// Runs script on the file dialog as soon as it is up (the dialogs run their own event loop),
// showing folder.
void whenDialogOpens(const std::filesystem::path& folder, std::function<void(QFileDialog&)> script)
{
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, poll, [poll, folder, script] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible())
            return;
        poll->stop();
        poll->deleteLater();
        dialog->setDirectory(QString::fromStdString(folder.string()));
        script(*dialog);
    });
    poll->start(5);
}

// Waits for the entry called name in the dialog's file list (the listing comes from the file
// system model's thread), then double-clicks it as a person enters a folder unless only looking.
// Rejects the dialog when the entry never shows, so a failure cannot hang the test.
bool findEntry(QFileDialog& dialog, const QString& name, bool enter = true)
{
    auto* view = dialog.findChild<QListView*>(QStringLiteral("listView"));
    QModelIndex entry;
    (void)QTest::qWaitFor([&] {
        const QAbstractItemModel* model = view ? view->model() : nullptr;
        for (int row = 0; model && row < model->rowCount(view->rootIndex()); ++row)
            if (model->index(row, 0, view->rootIndex()).data().toString() == name)
                entry = model->index(row, 0, view->rootIndex());
        return entry.isValid();
    });
    if (!entry.isValid()) {
        ADD_FAILURE() << "no entry " << name.toStdString() << " in the dialog";
        dialog.reject();
        return false;
    }
    if (enter) {
        view->scrollTo(entry);
        testing::doubleClick(view->viewport(), view->visualRect(entry).center());
    }
    return true;
}

// The name typed in the dialog's file name field.
QString typedName(QFileDialog& dialog)
{
    auto* field = dialog.findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    return field ? field->text() : QString();
}

TEST(QtStudioHost, eachDialogGivesWhatWasChosenAndNothingWhenCancelled)
{
    testing::uiApplication();
    testing::TempFolder temp;
    QtStudioHost host;
    // The new project dialog proposes the name.
    whenDialogOpens(temp.path(), [&](QFileDialog& dialog) {
        EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Crear proyecto de podcast"));
        EXPECT_EQ(typedName(dialog), QStringLiteral("Mi podcast.podcastproject"));
        EXPECT_EQ(dialog.acceptMode(), QFileDialog::AcceptSave);
        dialog.selectFile(QStringLiteral("Entrevista.podcastproject"));
        static_cast<QDialog&>(dialog).accept();
    });
    EXPECT_EQ(
        host.chooseNewProjectLocation("Crear proyecto de podcast", "Mi podcast.podcastproject"),
        temp / "Entrevista.podcastproject");
    whenDialogOpens(temp.path(), [](QFileDialog& dialog) { dialog.reject(); });
    EXPECT_FALSE(host.chooseNewProjectLocation("Crear proyecto de podcast", "x"));

    // A typed name that is taken comes back, so the new project is refused rather than nested.
    const auto existing = temp / "Episodio uno.podcastproject";
    testing::writeProject(existing, PodcastProject{});
    testing::StudioFakes fakes;
    Studio studio(StudioEnvironment{fakes.scheduler, host, fakes.settings, fakes.catalog,
                                    soundServerInputs()});
    whenDialogOpens(temp.path(), [&](QFileDialog& dialog) {
        auto* name = dialog.findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        name->selectAll();
        QTest::keyClicks(name, QStringLiteral("Episodio uno.podcastproject"));
        // Return, and Return again as someone would whom the dialog seemed to ignore.
        for (int press = 0; press < 2 && dialog.isVisible(); ++press)
            QTest::keyClick(name, Qt::Key_Return);
        if (dialog.isVisible())
            dialog.reject();
    });
    EXPECT_FALSE(studio.newProject());
    EXPECT_EQ(studio.message(), "Elige un nombre nuevo para evitar reemplazar otro proyecto.");
    EXPECT_FALSE(studio.folder());
    EXPECT_EQ(testing::countFiles(existing, ""), 2); // project.json and Media, nothing new

    // The open dialog takes a project folder instead of entering it.
    const auto project = temp / "Programa.podcastproject";
    testing::writeProject(project, PodcastProject{});
    std::filesystem::create_directories(temp / "Carpeta");

    // Going into a project folder chooses it at once.
    whenDialogOpens(temp.path(), [&](QFileDialog& dialog) {
        dialog.resize(720, 420);
        EXPECT_TRUE(findEntry(dialog, QStringLiteral("Carpeta"), false));
        const QImage shown = testing::saveScreenshot(dialog, QStringLiteral("QtStudioHost-open"));
        EXPECT_LT(testing::meanBrightness(shown, shown.rect()), 110.0); // dark like the studio
        findEntry(dialog, QStringLiteral("Programa.podcastproject"));
        if (dialog.isVisible()) {
            ADD_FAILURE() << "the dialog went into the project folder";
            dialog.reject();
        }
    });
    auto chosen = host.chooseProjectToOpen();
    ASSERT_TRUE(chosen);
    EXPECT_EQ(*chosen, project);

    // An ordinary folder is entered like any other, and can be chosen itself.
    whenDialogOpens(temp.path(), [&](QFileDialog& dialog) {
        findEntry(dialog, QStringLiteral("Carpeta"));
        EXPECT_TRUE(dialog.isVisible());
        EXPECT_EQ(dialog.directory().dirName(), QStringLiteral("Carpeta"));
        static_cast<QDialog&>(dialog).accept();
    });
    chosen = host.chooseProjectToOpen();
    ASSERT_TRUE(chosen);
    EXPECT_EQ(std::filesystem::canonical(*chosen), std::filesystem::canonical(temp / "Carpeta"));

    whenDialogOpens(temp.path(), [](QFileDialog& dialog) { dialog.reject(); });
    EXPECT_FALSE(host.chooseProjectToOpen());

    // Export is an M4A or MP3 file as typed or filtered, music an audio file.
    QStringList filters;
    // The name typed, and the filter chosen after typing it (-1: left as it was), which changes
    // the extension typed.
    const struct {
        const char* typed;
        int filter;
        const char* chosen;
    } cases[] = {{"final.MP3", -1, "final.MP3"}, {"final", -1, "final.m4a"},
                 {"final", 1, "final.mp3"},      {"final.m4a", 1, "final.mp3"},
                 {"final.mp3", 0, "final.m4a"},  {"final.wav", -1, "final.wav.m4a"}};
    for (const auto& c : cases) {
        whenDialogOpens(temp.path(), [&](QFileDialog& dialog) {
            EXPECT_EQ(typedName(dialog), QStringLiteral("Entrevista.m4a"));
            filters = dialog.nameFilters();
            dialog.selectFile(QString::fromUtf8(c.typed));
            if (c.filter >= 0)
                dialog.selectNameFilter(filters.value(c.filter));
            static_cast<QDialog&>(dialog).accept();
        });
        const auto destination = host.chooseExportDestination("Entrevista.m4a");
        EXPECT_EQ(filters, (QStringList{"Audio M4A (*.m4a)", "Audio MP3 (*.mp3)"}));
        ASSERT_TRUE(destination);
        EXPECT_EQ(*destination, temp / c.chosen) << c.typed;
    }

    testing::makeTone(temp / "musica.wav", 0.2);
    whenDialogOpens(temp.path(), [&](QFileDialog& dialog) {
        filters = dialog.nameFilters();
        EXPECT_EQ(dialog.fileMode(), QFileDialog::ExistingFile);
        dialog.selectFile(QStringLiteral("musica.wav"));
        static_cast<QDialog&>(dialog).accept();
    });
    const auto music = host.chooseAudioFile();
    ASSERT_EQ(filters.size(), 1);
    for (const char* extension : {"*.mp3", "*.m4a", "*.wav", "*.flac", "*.ogg", "*.caf", "*.aiff"})
        EXPECT_TRUE(filters.first().contains(QLatin1String(extension))) << extension;
    ASSERT_TRUE(music);
    EXPECT_EQ(*music, temp / "musica.wav");
}

} // namespace
} // namespace tw
