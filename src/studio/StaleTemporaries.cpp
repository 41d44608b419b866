#include "studio/StaleTemporaries.hpp"

#include "base/Uuid.hpp"

#include <cctype>
#include <cerrno>
#include <csignal>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>

namespace tw {

namespace {

constexpr std::string_view writerPrefix = ".project.json.";
constexpr std::size_t writerSuffixLength = 6; // mkostemp's XXXXXX
constexpr std::string_view exportPrefix = "tapewright-export-";
constexpr std::string_view exportExtension = ".m4a";
constexpr std::size_t uuidLength = 36;

bool isUuidText(std::string_view text)
{
    if (text.size() != uuidLength)
        return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        const char c = text[i];
        if (dash ? c != '-'
                 : !(std::isdigit(static_cast<unsigned char>(c)) || (c >= 'A' && c <= 'F')))
            return false;
    }
    return true;
}

bool isWriterTemporary(std::string_view name)
{
    if (name.size() != writerPrefix.size() + writerSuffixLength || !name.starts_with(writerPrefix))
        return false;
    for (char c : name.substr(writerPrefix.size()))
        if (!std::isalnum(static_cast<unsigned char>(c)))
            return false;
    return true;
}

// "." + a name of at least one character + "." + UUID.
bool isStagedCopy(std::string_view name)
{
    return name.size() > uuidLength + 3 && name.front() == '.' &&
           name[name.size() - uuidLength - 1] == '.' &&
           isUuidText(name.substr(name.size() - uuidLength));
}

template <class Matches> void removeMatching(const std::filesystem::path& folder, Matches matches)
{
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        std::error_code ignored;
        if (entry.is_regular_file(ignored) && !entry.is_symlink(ignored) &&
            matches(entry.path().filename().string()))
            std::filesystem::remove(entry.path(), ignored);
    }
}

// The process that named a temporary export file, when the name is one of ours.
std::optional<long> exportOwner(std::string_view name)
{
    if (!name.starts_with(exportPrefix) || !name.ends_with(exportExtension))
        return std::nullopt;
    name.remove_prefix(exportPrefix.size());
    name.remove_suffix(exportExtension.size());
    const std::size_t dash = name.find('-');
    if (dash == 0 || dash == std::string_view::npos || !isUuidText(name.substr(dash + 1)))
        return std::nullopt;
    long pid = 0;
    for (char c : name.substr(0, dash)) {
        if (!std::isdigit(static_cast<unsigned char>(c)) || pid > 1'000'000'000)
            return std::nullopt;
        pid = pid * 10 + (c - '0');
    }
    return pid;
}

} // namespace

std::filesystem::path stagingPath(const std::filesystem::path& final)
{
    // Appended piece by piece: GCC 12 at -O3 warns falsely (-Wrestrict) about "." + std::string.
    std::string name = ".";
    name.append(final.filename().string()).append(".").append(Uuid::random().text());
    return final.parent_path() / name;
}

void removeStaleTemporaries(const std::filesystem::path& projectFolder)
{
    removeMatching(projectFolder, [](const std::string& name) { return isWriterTemporary(name); });
    removeMatching(projectFolder / "Media",
                   [](const std::string& name) { return isStagedCopy(name); });
}

std::filesystem::path exportTemporaryPath()
{
    std::error_code error;
    std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    if (error)
        folder = "/tmp";
    return folder / (std::string(exportPrefix) + std::to_string(::getpid()) + "-" +
                     Uuid::random().text() + std::string(exportExtension));
}

void removeStaleExportTemporaries()
{
    removeMatching(exportTemporaryPath().parent_path(), [](const std::string& name) {
        const std::optional<long> owner = exportOwner(name);
        return owner && ::kill(static_cast<pid_t>(*owner), 0) != 0 && errno == ESRCH;
    });
}

} // namespace tw
