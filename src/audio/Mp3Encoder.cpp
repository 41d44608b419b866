#include "audio/Mp3Encoder.hpp"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace tw {

bool mp3EncoderAvailable()
{
    return avcodec_find_encoder_by_name("libmp3lame") != nullptr;
}

Mp3Encoder::Mp3Encoder(std::filesystem::path path)
    : AudioFileEncoder(EncodedFormat{"MP3",
                                     "libmp3lame",
                                     "mp3",
                                     64000,
                                     128000,
                                     FF_PROFILE_UNKNOWN,
                                     {{"id3v2_version", "4"}, {"write_xing", "1"}}},
                       std::move(path))
{
}

} // namespace tw
