#include "base/SettingsStore.hpp"

namespace tw {

std::optional<std::string> MemorySettingsStore::value(const std::string& key) const
{
    auto it = values_.find(key);
    if (it == values_.end())
        return std::nullopt;
    return it->second;
}

} // namespace tw
