#include "ui/AppMenus.hpp"

#include "studio/Studio.hpp"
#include "ui/EpisodeDialog.hpp"

#include <QAction>
#include <QActionGroup>
#include <QMenu>
#include <QMenuBar>

namespace tw {

namespace {

QAction* item(QMenu& menu, const QString& text, const QList<QKeySequence>& keys)
{
    QAction* action = menu.addAction(text);
    action->setShortcuts(keys);
    // The whole window hears the keys; a text field that takes the key (typing a space or an "r")
    // keeps it, because it claims the key before shortcuts are looked up.
    action->setShortcutContext(Qt::WindowShortcut);
    return action;
}

} // namespace

AppMenus::AppMenus(Studio& studio, QMenuBar& bar, std::function<void()> quit)
    : QObject(&bar)
    , studio_(studio)
    , file_(bar.addMenu(QStringLiteral("Archivo")))
    , edit_(bar.addMenu(QStringLiteral("Edición")))
    , audio_(bar.addMenu(QStringLiteral("Audio")))
{
    newProject_ =
        item(*file_, QStringLiteral("Nuevo proyecto…"), {QKeySequence(Qt::CTRL | Qt::Key_N)});
    openProject_ =
        item(*file_, QStringLiteral("Abrir proyecto…"), {QKeySequence(Qt::CTRL | Qt::Key_O)});
    saveProject_ =
        item(*file_, QStringLiteral("Guardar proyecto"), {QKeySequence(Qt::CTRL | Qt::Key_S)});
    saveCopy_ = item(*file_, QStringLiteral("Guardar una copia…"), {});
    episodeDetails_ = item(*file_, QStringLiteral("Detalles del episodio…"), {});
    export_ = item(*file_, QStringLiteral("Exportar M4A…"), {QKeySequence(Qt::CTRL | Qt::Key_E)});
    file_->addSeparator();
    quit_ = item(*file_, QStringLiteral("Salir"), {QKeySequence(Qt::CTRL | Qt::Key_Q)});
    quit_->setMenuRole(QAction::QuitRole);

    undo_ = item(*edit_, QStringLiteral("Deshacer"), {QKeySequence(Qt::CTRL | Qt::Key_Z)});
    redo_ =
        item(*edit_, QStringLiteral("Rehacer"), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z)});

    edit_->addSeparator();
    copy_ = item(*edit_, QStringLiteral("Copiar"), {QKeySequence(Qt::CTRL | Qt::Key_C)});
    paste_ =
        item(*edit_, QStringLiteral("Pegar en el cabezal"), {QKeySequence(Qt::CTRL | Qt::Key_V)});
    deleteClosingGap_ = item(*edit_, QStringLiteral("Eliminar y cerrar hueco"),
                             {QKeySequence(Qt::SHIFT | Qt::Key_Delete)});

    playPause_ =
        item(*audio_, QStringLiteral("Reproducir / Pausar"), {QKeySequence(Qt::Key_Space)});
    recordStop_ = item(*audio_, QStringLiteral("Grabar / Detener"), {QKeySequence(Qt::Key_R)});
    split_ = item(*audio_, QStringLiteral("Dividir clip en el cabezal"),
                  {QKeySequence(Qt::CTRL | Qt::Key_T)});
    trim_ = item(*audio_, QStringLiteral("Recortar a la selección"),
                 {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_T)});
    // Backspace too: it is the key labelled "delete" on many keyboards.
    delete_ = item(*audio_, QStringLiteral("Eliminar selección"),
                   {QKeySequence(Qt::Key_Delete), QKeySequence(Qt::Key_Backspace)});
    import_ =
        item(*audio_, QStringLiteral("Importar música…"), {QKeySequence(Qt::CTRL | Qt::Key_I)});
    removeMusic_ = item(*audio_, QStringLiteral("Quitar música"), {});
    addChapter_ = item(*audio_, QStringLiteral("Añadir capítulo"), {QKeySequence(Qt::Key_M)});
    audio_->addSeparator();
    auto* loudness = new QActionGroup(this);
    podcastLoudness_ = audio_->addAction(QStringLiteral("Podcast (−16 LUFS)"));
    broadcastLoudness_ = audio_->addAction(QStringLiteral("Emisión EBU R128 (−23 LUFS)"));
    noLoudness_ = audio_->addAction(QStringLiteral("Sin normalizar"));
    for (const LoudnessTarget target :
         {LoudnessTarget::podcast, LoudnessTarget::broadcast, LoudnessTarget::none}) {
        QAction* action = &this->loudness(target);
        action->setCheckable(true);
        loudness->addAction(action);
        connect(action, &QAction::triggered, this,
                [this, target] { studio_.setLoudnessTarget(target); });
    }

    connect(newProject_, &QAction::triggered, this, [this] { studio_.newProject(); });
    connect(openProject_, &QAction::triggered, this, [this] { studio_.open(); });
    connect(saveProject_, &QAction::triggered, this, [this] { studio_.saveProject(); });
    connect(saveCopy_, &QAction::triggered, this, [this] { studio_.saveCopy(); });
    connect(episodeDetails_, &QAction::triggered, this,
            [this, &bar] { showEpisodeDialog(studio_, bar.window()); });
    connect(export_, &QAction::triggered, this, [this] { studio_.exportProject(); });
    connect(quit_, &QAction::triggered, this, [quit = std::move(quit)] {
        if (quit)
            quit();
    });
    connect(undo_, &QAction::triggered, this, [this] { studio_.undo(); });
    connect(redo_, &QAction::triggered, this, [this] { studio_.redo(); });
    connect(copy_, &QAction::triggered, this, [this] { studio_.copySelection(); });
    connect(paste_, &QAction::triggered, this, [this] { studio_.pasteClips(); });
    connect(deleteClosingGap_, &QAction::triggered, this,
            [this] { studio_.deleteSelectionClosingGap(); });
    connect(playPause_, &QAction::triggered, this, &AppMenus::playOrPause);
    connect(recordStop_, &QAction::triggered, this, &AppMenus::recordOrStop);
    connect(split_, &QAction::triggered, this, [this] { studio_.splitClip(); });
    connect(trim_, &QAction::triggered, this, [this] { studio_.trimSelection(); });
    connect(delete_, &QAction::triggered, this, [this] { studio_.deleteSelection(); });
    connect(import_, &QAction::triggered, this, [this] { studio_.importMusic(); });
    connect(removeMusic_, &QAction::triggered, this, [this] { studio_.removeMusic(); });
    connect(addChapter_, &QAction::triggered, this, [this] { studio_.addChapter(); });

    connect(&studio_, &Studio::fieldChanged, this, &AppMenus::refresh);
    refresh();
}

QAction& AppMenus::loudness(LoudnessTarget target) const
{
    switch (target) {
    case LoudnessTarget::broadcast:
        return *broadcastLoudness_;
    case LoudnessTarget::none:
        return *noLoudness_;
    case LoudnessTarget::podcast:
        break;
    }
    return *podcastLoudness_;
}

void AppMenus::playOrPause()
{
    // While a take runs the key pauses the take instead of starting playback.
    if (studio_.recording())
        studio_.pauseTransport();
    else
        studio_.togglePlayback();
}

void AppMenus::recordOrStop()
{
    // During the count-in the key cancels it: a second press must never start another take.
    if (!studio_.recording() && !studio_.countdown())
        studio_.record();
    else
        studio_.stop();
}

void AppMenus::refresh()
{
    // Cheap enough for every notification: an unchanged flag costs nothing in QAction.
    const bool recording = studio_.recording();
    const bool busy = studio_.busy();
    const bool countingIn = studio_.countdown().has_value();
    const bool selection = studio_.selection().has_value();
    const bool commands = !recording && !busy;

    newProject_->setEnabled(commands);
    openProject_->setEnabled(commands);
    saveProject_->setEnabled(true);
    saveCopy_->setEnabled(commands && studio_.folder());
    export_->setEnabled(commands);
    undo_->setEnabled(commands && !studio_.undoStack->empty());
    redo_->setEnabled(commands && !studio_.redoStack->empty());
    copy_->setEnabled(commands && selection && studio_.folder());
    paste_->setEnabled(commands && studio_.canPaste() && studio_.folder());
    deleteClosingGap_->setEnabled(commands && selection);
    playPause_->setEnabled(!busy);
    recordStop_->setEnabled(!busy || countingIn);
    split_->setEnabled(commands);
    trim_->setEnabled(selection && !recording);
    delete_->setEnabled(selection && !recording);
    import_->setEnabled(commands);
    removeMusic_->setEnabled(commands && studio_.project->musicFile.has_value());
    episodeDetails_->setEnabled(commands);
    addChapter_->setEnabled(commands);
    for (const LoudnessTarget target :
         {LoudnessTarget::podcast, LoudnessTarget::broadcast, LoudnessTarget::none}) {
        QAction& action = loudness(target);
        action.setEnabled(commands);
        action.setChecked(studio_.loudnessTarget() == target);
    }
}

} // namespace tw
