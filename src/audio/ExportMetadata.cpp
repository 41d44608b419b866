#include "audio/ExportMetadata.hpp"

#include "base/ReadableFile.hpp"

#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

namespace tw {

namespace {

int bigEndian(std::string_view bytes, std::size_t at, int count)
{
    int value = 0;
    for (int i = 0; i < count; ++i)
        value = value << 8 | static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(i)]);
    return value;
}

// Width and height from the PNG's first chunk, which must be its header.
std::optional<std::pair<int, int>> pngSize(std::string_view png)
{
    if (png.size() < 24 || png.substr(12, 4) != "IHDR")
        return std::nullopt;
    return std::pair{bigEndian(png, 16, 4), bigEndian(png, 20, 4)};
}

// Width and height from the JPEG's start-of-frame segment, found by walking its segments.
std::optional<std::pair<int, int>> jpegSize(std::string_view jpeg)
{
    std::size_t at = 2;
    while (at + 9 <= jpeg.size() && static_cast<unsigned char>(jpeg[at]) == 0xFF) {
        const auto marker = static_cast<unsigned char>(jpeg[at + 1]);
        const bool startOfFrame =
            marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (startOfFrame)
            return std::pair{bigEndian(jpeg, at + 7, 2), bigEndian(jpeg, at + 5, 2)};
        at += 2 + static_cast<std::size_t>(bigEndian(jpeg, at + 2, 2));
    }
    return std::nullopt;
}

} // namespace

Result<CoverArt> readCoverArt(const std::filesystem::path& path)
{
    const Error tooLarge{ErrorDomain::exporting, 0,
                         "La imagen de portada ocupa más de 16 MiB: elige una más pequeña."};
    Result<std::string> bytes = readWholeFile(path, maxCoverBytes, tooLarge);
    if (!bytes)
        return bytes.error();
    const std::string_view image(bytes.value());
    CoverArt cover;
    std::optional<std::pair<int, int>> size;
    if (image.starts_with("\xFF\xD8\xFF")) {
        cover.kind = CoverArt::Kind::jpeg;
        size = jpegSize(image);
    } else if (image.starts_with("\x89PNG\r\n\x1A\n")) {
        cover.kind = CoverArt::Kind::png;
        size = pngSize(image);
    }
    if (!size || size->first <= 0 || size->second <= 0)
        return Error{ErrorDomain::exporting, 0,
                     "La portada debe ser una imagen JPEG o PNG: " + path.filename().string()};
    std::tie(cover.width, cover.height) = *size;
    cover.bytes = std::move(bytes.value());
    return cover;
}

} // namespace tw
