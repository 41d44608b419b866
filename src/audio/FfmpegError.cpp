#include "audio/FfmpegError.hpp"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <mutex>

namespace tw {

std::string ffmpegDescription(int averror)
{
    // AVERROR(e) is -e; FFmpeg's own codes are large negative tags.
    if (averror < 0 && averror > -4096)
        return systemDescription(-averror);
    switch (averror) {
    case AVERROR_INVALIDDATA:
        return "Los datos del archivo no son válidos o están dañados.";
    case AVERROR_EOF:
        return "El archivo termina antes de lo esperado.";
    case AVERROR_DEMUXER_NOT_FOUND:
        return "El formato del archivo no se reconoce.";
    case AVERROR_DECODER_NOT_FOUND:
        return "No hay un decodificador para este formato de audio.";
    case AVERROR_STREAM_NOT_FOUND:
        return "El archivo no contiene audio.";
    case AVERROR_ENCODER_NOT_FOUND:
    case AVERROR_MUXER_NOT_FOUND:
        return "Este tipo de archivo no se puede escribir.";
    case AVERROR_PATCHWELCOME:
        return "Esta variante del formato no es compatible.";
    case AVERROR_PROTOCOL_NOT_FOUND:
        return "No se puede acceder a esa ubicación.";
    default:
        return "Error al procesar el audio (código " + std::to_string(averror) + ").";
    }
}

Error ffmpegError(int code, const std::string& what, const std::filesystem::path& file, int averror)
{
    return Error{"Audio", code,
                 what + " «" + file.filename().string() + "»: " + ffmpegDescription(averror)};
}

void silenceFfmpegLog()
{
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_FATAL); });
}

} // namespace tw
