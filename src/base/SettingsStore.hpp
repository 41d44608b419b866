// The per-user settings outside any project ("lastProject"). The app stores them with QSettings;
// tests keep them in memory.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace tw {

class SettingsStore {
public:
    virtual ~SettingsStore() = default;
    virtual std::optional<std::string> value(const std::string& key) const = 0;
    virtual void setValue(const std::string& key, const std::string& value) = 0;
};

class MemorySettingsStore final : public SettingsStore {
public:
    std::optional<std::string> value(const std::string& key) const override;
    void setValue(const std::string& key, const std::string& value) override
    {
        values_[key] = value;
    }

private:
    std::map<std::string, std::string> values_;
};

} // namespace tw
