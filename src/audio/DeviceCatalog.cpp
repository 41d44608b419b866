#include "audio/DeviceCatalog.hpp"

namespace tw {

std::uint32_t captureSourceId(std::string_view sourceName)
{
    std::uint32_t hash = 2166136261u;
    for (unsigned char c : sourceName) {
        hash ^= c;
        hash *= 16777619u;
    }
    // 0 means "the default source"; the one name that hashes to it takes 1 instead.
    return hash == 0 ? 1 : hash;
}

} // namespace tw
