#include "audio/FfmpegError.hpp"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <mutex>

namespace tw {

Error ffmpegError(int code, const std::string& what, const std::filesystem::path& file, int averror)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(averror, text, sizeof text);
    return Error{"Audio", code, what + " «" + file.filename().string() + "»: " + text};
}

void silenceFfmpegLog()
{
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_FATAL); });
}

} // namespace tw
