#include "audio/M4aEncoder.hpp"

#include "audio/ExportSession.hpp"
#include "audio/FfmpegError.hpp"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace tw {

bool aacEncoderAvailable()
{
    return avcodec_find_encoder_by_name("aac") != nullptr;
}

Error encoderError(int averror)
{
    return Error{ErrorDomain::exporting, ExportError::failed,
                 "No se pudo codificar el audio en AAC: " + ffmpegDescription(averror)};
}

M4aEncoder::M4aEncoder(std::filesystem::path path)
    : AudioFileEncoder(EncodedFormat{"AAC",
                                     "aac",
                                     "ipod",
                                     96000,
                                     160000,
                                     FF_PROFILE_AAC_LOW,
                                     {{"movflags", "+faststart"},
                                      {"movie_timescale", std::to_string(sampleRate)}}},
                       std::move(path))
{
}

} // namespace tw
