// What the Studio asks of the desktop: the file dialogs and the microphone permission. The window
// implements it with Qt's dialogs; tests script the answers.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace tw {

class StudioHost {
public:
    virtual ~StudioHost() = default;

    // A save panel that may create folders, with a title and a proposed name. Absent = cancelled.
    virtual std::optional<std::filesystem::path>
    chooseNewProjectLocation(const std::string& title, const std::string& proposedName) = 0;
    // An open panel that accepts folders and files and does not descend into project folders.
    virtual std::optional<std::filesystem::path> chooseProjectToOpen() = 0;
    // An open panel that accepts only audio files.
    virtual std::optional<std::filesystem::path> chooseAudioFile() = 0;
    // A save panel for the exported file, with a proposed name.
    virtual std::optional<std::filesystem::path>
    chooseExportDestination(const std::string& proposedName) = 0;
    // Asks whether audio may be captured; answer is called once, on the main thread, possibly
    // after this call has returned.
    virtual void requestMicrophonePermission(std::function<void(bool granted)> answer) = 0;
};

} // namespace tw
