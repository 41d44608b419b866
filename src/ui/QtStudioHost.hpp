// The Studio's dialogs on the desktop: Qt's file dialogs for a new project folder, a project to
// open, an audio file and the export destination (whose extension picks M4A or MP3); the microphone
// is always allowed (the sound server decides who may capture). Main thread.
#pragma once

#include "studio/StudioHost.hpp"

#include <QPointer>
#include <QWidget>

class QFileDialog;

namespace tw {

class QtStudioHost final : public StudioHost {
public:
    // The dialogs open over parent (the main window, set once it exists).
    void setParentWindow(QWidget* parent) { parent_ = parent; }

    std::optional<std::filesystem::path>
    chooseNewProjectLocation(const std::string& title, const std::string& proposedName) override;
    std::optional<std::filesystem::path> chooseProjectToOpen() override;
    std::optional<std::filesystem::path> chooseAudioFile() override;
    std::optional<std::filesystem::path>
    chooseExportDestination(const std::string& proposedName) override;
    void requestMicrophonePermission(std::function<void(bool granted)> answer) override;

    // The file name filters of the audio dialog and of the export dialog (M4A, then MP3).
    static QStringList audioFilters();
    static QStringList exportFilters();
    // name as the export writes it: kept when it ends in ".m4a" or ".mp3" (in any case), else
    // with the extension of the chosen export filter.
    static QString withExportExtension(const QString& name, const QString& filter);
    // True for a folder the open dialog treats as one item: it holds a "project.json".
    static bool isProjectFolder(const QString& path);

private:
    QPointer<QWidget> parent_;
};

} // namespace tw
