#include "audio/ExportMetadata.hpp"

#include "base/ReadableFile.hpp"

#include <string_view>

namespace tw {

Result<CoverArt> readCoverArt(const std::filesystem::path& path)
{
    const Error tooLarge{ErrorDomain::exporting, 0,
                         "La imagen de portada ocupa más de 16 MiB: elige una más pequeña."};
    Result<std::string> bytes = readWholeFile(path, maxCoverBytes, tooLarge);
    if (!bytes)
        return bytes.error();
    const std::string_view head(bytes.value());
    CoverArt cover;
    if (head.starts_with("\xFF\xD8\xFF"))
        cover.kind = CoverArt::Kind::jpeg;
    else if (head.starts_with("\x89PNG\r\n\x1A\n"))
        cover.kind = CoverArt::Kind::png;
    else
        return Error{ErrorDomain::exporting, 0,
                     "La portada debe ser una imagen JPEG o PNG: " + path.filename().string()};
    cover.bytes = std::move(bytes.value());
    return cover;
}

} // namespace tw
