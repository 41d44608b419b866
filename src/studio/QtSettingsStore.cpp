#include "studio/QtSettingsStore.hpp"

#include <QSettings>

namespace tw {

QtSettingsStore::QtSettingsStore()
    : settings_(
          std::make_unique<QSettings>(QStringLiteral("Tapewright"), QStringLiteral("Tapewright")))
{
}

QtSettingsStore::QtSettingsStore(const QString& iniFile)
    : settings_(std::make_unique<QSettings>(iniFile, QSettings::IniFormat))
{
}

QtSettingsStore::~QtSettingsStore() = default;

std::optional<std::string> QtSettingsStore::value(const std::string& key) const
{
    const QVariant stored = settings_->value(QString::fromStdString(key));
    if (!stored.isValid())
        return std::nullopt;
    return stored.toString().toStdString();
}

void QtSettingsStore::setValue(const std::string& key, const std::string& value)
{
    settings_->setValue(QString::fromStdString(key), QString::fromStdString(value));
}

} // namespace tw
