#include "ui/QtStudioHost.hpp"

#include "ui/PanelPalette.hpp"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLineEdit>
#include <QStandardPaths>

namespace tw {

namespace {

QString startFolder()
{
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return QDir(documents).exists() ? documents : QDir::homePath();
}

std::filesystem::path toPath(const QString& text)
{
    return std::filesystem::path(text.toStdString());
}

// Runs dialog and returns its first chosen entry, or nothing when cancelled.
std::optional<QString> firstChoice(QFileDialog& dialog)
{
    // The studio's dark panel colours, like the welcome sheet the dialogs often open from.
    dialog.setPalette(panelPalette(dialog.palette()));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    return dialog.selectedFiles().constFirst();
}

// The dialog that names a new project folder. Qt's save dialog enters a folder whose name is
// typed and confirmed, and a second confirmation would then make the new project inside the old
// one: here a typed name that is already taken comes back as the choice, so that the Studio can
// refuse it and say why.
class NewProjectDialog final : public QFileDialog {
public:
    using QFileDialog::QFileDialog;

protected:
    void accept() override
    {
        const auto* name = findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        const QStringList chosen = selectedFiles();
        if (name && !name->text().isEmpty() && !chosen.isEmpty()) {
            const QFileInfo taken(chosen.constFirst());
            if (taken.exists() || taken.isSymLink()) {
                QDialog::accept();
                return;
            }
        }
        QFileDialog::accept();
    }
};

} // namespace

QStringList QtStudioHost::audioFilters()
{
    // Whatever the decoder reads; these are the extensions people's music comes with.
    return {QStringLiteral("Audio (*.mp3 *.m4a *.aac *.mp4 *.wav *.wave *.flac *.ogg *.oga *.opus "
                           "*.caf *.aif *.aiff *.aifc *.wma *.ac3)")};
}

QStringList QtStudioHost::exportFilters()
{
    return {QStringLiteral("Audio M4A (*.m4a)"), QStringLiteral("Audio MP3 (*.mp3)")};
}

QString QtStudioHost::withExportExtension(const QString& name, const QString& filter)
{
    for (const char* known : {".m4a", ".mp3"})
        if (name.endsWith(QLatin1String(known), Qt::CaseInsensitive))
            return name;
    return name + (filter.contains(QStringLiteral("*.mp3")) ? QStringLiteral(".mp3")
                                                            : QStringLiteral(".m4a"));
}

bool QtStudioHost::isProjectFolder(const QString& path)
{
    const QFileInfo folder(path);
    return folder.isDir() &&
           QFileInfo(QDir(path).filePath(QStringLiteral("project.json"))).isFile();
}

std::optional<std::filesystem::path>
QtStudioHost::chooseNewProjectLocation(const std::string& title, const std::string& proposedName)
{
    // A save dialog: the chosen name becomes the new folder (the Studio creates it), and the
    // dialog's own button makes any folder the user wants to put it in.
    NewProjectDialog dialog(parent_, QString::fromStdString(title), startFolder());
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setOption(QFileDialog::DontConfirmOverwrite); // the Studio refuses an existing name
    dialog.setOption(QFileDialog::DontUseNativeDialog);  // its confirmation is the one above
    dialog.selectFile(QString::fromStdString(proposedName));
    const std::optional<QString> chosen = firstChoice(dialog);
    if (!chosen)
        return std::nullopt;
    return toPath(*chosen);
}

std::optional<std::filesystem::path> QtStudioHost::chooseProjectToOpen()
{
    QFileDialog dialog(parent_, QStringLiteral("Abrir proyecto"), startFolder());
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(QFileDialog::Directory);
    // A project folder is one item: entering it (double click) chooses it instead of showing its
    // Media folder. The widget dialog reports the entry, so this works the same everywhere.
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    std::optional<QString> entered;
    QObject::connect(&dialog, &QFileDialog::directoryEntered, &dialog,
                     [&dialog, &entered](const QString& folder) {
                         if (!isProjectFolder(folder))
                             return;
                         entered = folder;
                         static_cast<QDialog&>(dialog).done(QDialog::Accepted);
                     });
    std::optional<QString> chosen = firstChoice(dialog);
    if (entered)
        chosen = entered;
    if (!chosen)
        return std::nullopt;
    // The document itself stands for its folder.
    const QFileInfo info(*chosen);
    if (info.isFile() && info.fileName() == QStringLiteral("project.json"))
        return toPath(info.absolutePath());
    return toPath(*chosen);
}

std::optional<std::filesystem::path> QtStudioHost::chooseAudioFile()
{
    QFileDialog dialog(parent_, QStringLiteral("Importar música"), startFolder());
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setNameFilters(audioFilters());
    const std::optional<QString> chosen = firstChoice(dialog);
    if (!chosen)
        return std::nullopt;
    return toPath(*chosen);
}

std::optional<std::filesystem::path>
QtStudioHost::chooseExportDestination(const std::string& proposedName)
{
    QFileDialog dialog(parent_, QStringLiteral("Exportar"), startFolder());
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setNameFilters(exportFilters());
    // Qt's own dialog: choosing the other format changes the extension typed in the name.
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.selectFile(
        withExportExtension(QString::fromStdString(proposedName), exportFilters()[0]));
    const std::optional<QString> chosen = firstChoice(dialog);
    if (!chosen)
        return std::nullopt;
    return toPath(withExportExtension(*chosen, dialog.selectedNameFilter()));
}

void QtStudioHost::requestMicrophonePermission(std::function<void(bool granted)> answer)
{
    answer(true);
}

} // namespace tw
