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

using testing::TempFolder;

// Runs script on the file dialog as soon as it is up (the dialogs run their own event loop).
void whenDialogOpens(std::function<void(QFileDialog&)> script)
{
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, poll, [poll, script] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible())
            return;
        poll->stop();
        poll->deleteLater();
        script(*dialog);
    });
    poll->start(5);
}

// The entry called name in the dialog's file list, once the listing has arrived from the file
// system model's thread; invalid when it never shows.
QModelIndex listedEntry(QFileDialog& dialog, const QString& name)
{
    auto* view = dialog.findChild<QListView*>(QStringLiteral("listView"));
    QModelIndex entry;
    if (!view)
        return entry;
    (void)QTest::qWaitFor([&] {
        const QAbstractItemModel* model = view->model();
        for (int row = 0; row < model->rowCount(view->rootIndex()); ++row) {
            const QModelIndex index = model->index(row, 0, view->rootIndex());
            if (index.data().toString() == name) {
                entry = index;
                return true;
            }
        }
        return false;
    });
    return entry;
}

// Double-clicks the entry called name in the dialog's file list, as a person enters a folder.
// Rejects the dialog when the entry never shows, so a failure cannot hang the test.
void doubleClickEntry(QFileDialog& dialog, const QString& name)
{
    const QModelIndex entry = listedEntry(dialog, name);
    if (!entry.isValid()) {
        ADD_FAILURE() << "no entry " << name.toStdString() << " in the dialog";
        dialog.reject();
        return;
    }
    auto* view = dialog.findChild<QListView*>(QStringLiteral("listView"));
    view->scrollTo(entry);
    const QPoint centre = view->visualRect(entry).center();
    testing::doubleClick(view->viewport(), centre);
}

// The name typed in the dialog's file name field.
QString typedName(QFileDialog& dialog)
{
    auto* field = dialog.findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    return field ? field->text() : QString();
}

TEST(QtStudioHost, theNewProjectDialogProposesTheNameAndATakenNameComesBackNotNested)
{
    testing::uiApplication();
    TempFolder temp;
    QtStudioHost host;
    QString title, proposed;
    whenDialogOpens([&](QFileDialog& dialog) {
        title = dialog.windowTitle();
        proposed = typedName(dialog);
        EXPECT_EQ(dialog.acceptMode(), QFileDialog::AcceptSave);
        dialog.setDirectory(QString::fromStdString(temp.path().string()));
        dialog.selectFile(QStringLiteral("Entrevista.podcastproject"));
        static_cast<QDialog&>(dialog).accept();
    });
    EXPECT_EQ(
        host.chooseNewProjectLocation("Crear proyecto de podcast", "Mi podcast.podcastproject"),
        temp / "Entrevista.podcastproject");
    EXPECT_EQ(title, QStringLiteral("Crear proyecto de podcast"));
    EXPECT_EQ(proposed, QStringLiteral("Mi podcast.podcastproject"));
    whenDialogOpens([](QFileDialog& dialog) { dialog.reject(); });
    EXPECT_FALSE(host.chooseNewProjectLocation("Crear proyecto de podcast", "x"));

    // A typed name that is taken comes back, so the new project is refused rather than nested.
    const auto existing = temp / "Episodio uno.podcastproject";
    testing::writeProject(existing, PodcastProject{});
    ManualScheduler scheduler;
    MemorySettingsStore settings;
    testing::FakeDeviceCatalog catalog;
    Studio studio(StudioEnvironment{scheduler, host, settings, catalog, soundServerInputs()});
    whenDialogOpens([&](QFileDialog& dialog) {
        dialog.setDirectory(QString::fromStdString(temp.path().string()));
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
}

TEST(QtStudioHost, theOpenDialogTakesAProjectFolderInsteadOfEnteringIt)
{
    testing::uiApplication();
    TempFolder temp;
    const auto project = temp / "Programa.podcastproject";
    testing::writeProject(project, PodcastProject{});
    std::filesystem::create_directories(temp / "Carpeta");
    QtStudioHost host;

    // Going into a project folder chooses it at once.
    whenDialogOpens([&](QFileDialog& dialog) {
        dialog.setDirectory(QString::fromStdString(temp.path().string()));
        dialog.resize(720, 420);
        EXPECT_TRUE(listedEntry(dialog, QStringLiteral("Carpeta")).isValid());
        const QImage shown = testing::saveScreenshot(dialog, QStringLiteral("QtStudioHost-open"));
        EXPECT_LT(testing::meanBrightness(shown, shown.rect()), 110.0); // dark like the studio
        doubleClickEntry(dialog, QStringLiteral("Programa.podcastproject"));
        if (dialog.isVisible()) {
            ADD_FAILURE() << "the dialog went into the project folder";
            dialog.reject();
        }
    });
    auto chosen = host.chooseProjectToOpen();
    ASSERT_TRUE(chosen);
    EXPECT_EQ(*chosen, project);

    // An ordinary folder is entered like any other, and can be chosen itself.
    bool stayedOpen = false;
    QString entered;
    whenDialogOpens([&](QFileDialog& dialog) {
        dialog.setDirectory(QString::fromStdString(temp.path().string()));
        doubleClickEntry(dialog, QStringLiteral("Carpeta"));
        stayedOpen = dialog.isVisible();
        entered = dialog.directory().dirName();
        static_cast<QDialog&>(dialog).accept();
    });
    chosen = host.chooseProjectToOpen();
    EXPECT_TRUE(stayedOpen);
    EXPECT_EQ(entered, QStringLiteral("Carpeta"));
    ASSERT_TRUE(chosen);
    EXPECT_EQ(std::filesystem::canonical(*chosen), std::filesystem::canonical(temp / "Carpeta"));

    whenDialogOpens([](QFileDialog& dialog) { dialog.reject(); });
    EXPECT_FALSE(host.chooseProjectToOpen());
}

TEST(QtStudioHost, exportIsAnM4aOrMp3FileAsTypedOrFilteredAndMusicAnAudioFile)
{
    testing::uiApplication();
    TempFolder temp;
    QtStudioHost host;
    QString proposed;
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
        whenDialogOpens([&](QFileDialog& dialog) {
            proposed = typedName(dialog);
            filters = dialog.nameFilters();
            dialog.setDirectory(QString::fromStdString(temp.path().string()));
            dialog.selectFile(QString::fromUtf8(c.typed));
            if (c.filter >= 0)
                dialog.selectNameFilter(filters.value(c.filter));
            static_cast<QDialog&>(dialog).accept();
        });
        const auto destination = host.chooseExportDestination("Entrevista.m4a");
        EXPECT_EQ(proposed, QStringLiteral("Entrevista.m4a"));
        EXPECT_EQ(filters, (QStringList{"Audio M4A (*.m4a)", "Audio MP3 (*.mp3)"}));
        ASSERT_TRUE(destination);
        EXPECT_EQ(*destination, temp / c.chosen) << c.typed;
    }

    testing::makeTone(temp / "musica.wav", 0.2);
    whenDialogOpens([&](QFileDialog& dialog) {
        filters = dialog.nameFilters();
        EXPECT_EQ(dialog.fileMode(), QFileDialog::ExistingFile);
        dialog.setDirectory(QString::fromStdString(temp.path().string()));
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
