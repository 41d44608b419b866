// The window's menu commands: "Archivo" (new, open, save, save a copy, episode details, export),
// "Edición" (undo, redo, copy, paste at the play head, delete and close the gap) and "Audio" (play,
// record, split, trim, delete, import and remove the music, add a chapter, and the checkable group
// of the export loudness: podcast, EBU R128 or none). Each item is one call on the Studio; its
// enabling is evaluated again on every change the Studio publishes, and a disabled item ignores
// its shortcut as well. Main thread.
#pragma once

#include "model/LoudnessTarget.hpp"

#include <QObject>

#include <functional>

class QAction;
class QMenu;
class QMenuBar;

namespace tw {

class Studio;

class AppMenus final : public QObject {
    Q_OBJECT

public:
    // Adds the three menus to bar. quit is run by "Salir" (the window closes through it).
    AppMenus(Studio& studio, QMenuBar& bar, std::function<void()> quit = {});

    QMenu& fileMenu() const { return *file_; }
    QMenu& editMenu() const { return *edit_; }
    QMenu& audioMenu() const { return *audio_; }

    QAction& newProject() const { return *newProject_; }
    QAction& openProject() const { return *openProject_; }
    QAction& saveProject() const { return *saveProject_; }
    QAction& saveCopy() const { return *saveCopy_; }
    QAction& episodeDetails() const { return *episodeDetails_; }
    QAction& exportProject() const { return *export_; }
    QAction& quit() const { return *quit_; }
    QAction& undo() const { return *undo_; }
    QAction& redo() const { return *redo_; }
    QAction& copy() const { return *copy_; }
    QAction& paste() const { return *paste_; }
    QAction& deleteClosingGap() const { return *deleteClosingGap_; }
    QAction& playPause() const { return *playPause_; }
    QAction& recordStop() const { return *recordStop_; }
    QAction& split() const { return *split_; }
    QAction& trim() const { return *trim_; }
    QAction& deleteSelection() const { return *delete_; }
    QAction& importMusic() const { return *import_; }
    QAction& removeMusic() const { return *removeMusic_; }
    QAction& addChapter() const { return *addChapter_; }
    // The export loudness group, in menu order: podcast, EBU R128, none.
    QAction& loudness(LoudnessTarget target) const;

    // What the two keys that depend on the state do (the items' own handlers).
    void playOrPause();
    void recordOrStop();

private:
    void refresh();

    Studio& studio_;
    QMenu* file_;
    QMenu* edit_;
    QMenu* audio_;
    QAction* newProject_;
    QAction* openProject_;
    QAction* saveProject_;
    QAction* saveCopy_;
    QAction* episodeDetails_;
    QAction* export_;
    QAction* quit_;
    QAction* undo_;
    QAction* redo_;
    QAction* copy_;
    QAction* paste_;
    QAction* deleteClosingGap_;
    QAction* playPause_;
    QAction* recordStop_;
    QAction* split_;
    QAction* trim_;
    QAction* delete_;
    QAction* import_;
    QAction* removeMusic_;
    QAction* addChapter_;
    QAction* podcastLoudness_;
    QAction* broadcastLoudness_;
    QAction* noLoudness_;
};

} // namespace tw
