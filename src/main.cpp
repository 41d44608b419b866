// Tapewright ("Bobinet 2"): a desktop studio for one person recording a spoken-word programme.
// One studio runs per user: a later launch hands the folder it was given to the running one, and
// starts on its own when that one does not answer (the project folder lock keeps two studios off
// one project).
#include "base/MemoryTuning.hpp"
#include "ui/MainWindow.hpp"
#include "ui/SingleInstance.hpp"
#include "ui/TapewrightApp.hpp"
#include "ui/TerminationSignals.hpp"

#include <QApplication>
#include <QDir>
#include <QStringList>

#include <optional>

namespace {

// The project folder the desktop passed, made absolute (the running instance has another working
// folder). Qt's own options are already taken out of the arguments.
std::optional<QString> requestedPath(const QStringList& arguments)
{
    for (qsizetype i = 1; i < arguments.size(); ++i)
        if (!arguments[i].startsWith(QLatin1Char('-')))
            return QDir::current().absoluteFilePath(arguments[i]);
    return std::nullopt;
}

} // namespace

int main(int argc, char** argv)
{
    tw::keepFreedMemoryForReuse();
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tapewright"));
    QApplication::setOrganizationName(QStringLiteral("Tapewright"));
    QApplication::setApplicationDisplayName(QStringLiteral("Bobinet 2"));
    QGuiApplication::setDesktopFileName(QStringLiteral("tapewright"));
    tw::TapewrightApp::useSpanishToolkitTexts();

    const std::optional<QString> path = requestedPath(QApplication::arguments());
    tw::SingleInstance instance(tw::SingleInstance::defaultServerName());
    if (instance.handOver(path))
        return 0;
    instance.listen(); // takes over from one that hangs; without it the studio still runs alone

    // A stop request from the session quits like "Salir", so the project is saved first.
    tw::TerminationSignals stopRequests;
    tw::TapewrightApp app;
    QObject::connect(&instance, &tw::SingleInstance::openRequested, &app,
                     [&app](const QString& folder) {
                         app.openRequested(std::filesystem::path(folder.toStdString()));
                     });
    QObject::connect(&instance, &tw::SingleInstance::activationRequested, &app, [&app] {
        app.window().raise();
        app.window().activateWindow();
    });
    app.window().show();
    if (path)
        app.openRequested(std::filesystem::path(path->toStdString()));
    return application.exec();
}
