// The per-user settings of the application ("lastProject") in QSettings.
#pragma once

#include "base/SettingsStore.hpp"

#include <QString>

#include <memory>

class QSettings;

namespace tw {

class QtSettingsStore final : public SettingsStore {
public:
    // The user's native settings of the application.
    QtSettingsStore();
    // An INI file of its own (tests, portable setups).
    explicit QtSettingsStore(const QString& iniFile);
    ~QtSettingsStore() override;

    std::optional<std::string> value(const std::string& key) const override;
    void setValue(const std::string& key, const std::string& value) override;

private:
    std::unique_ptr<QSettings> settings_;
};

} // namespace tw
