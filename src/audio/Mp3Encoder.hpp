// One MP3 stream in an .mp3 file (FFmpeg's libmp3lame at a constant 64 kb/s mono or 128 kb/s
// stereo, and its mp3 muxer): the last step of an MP3 export. The tags are ID3v2.4, the cover an
// APIC frame and the chapters CHAP frames under a CTOC; a Xing/LAME frame gives players the exact
// length and the encoder's delay.
#pragma once

#include "audio/AudioFileEncoder.hpp"

namespace tw {

// Whether this FFmpeg has the libmp3lame encoder.
bool mp3EncoderAvailable();

class Mp3Encoder final : public AudioFileEncoder {
public:
    explicit Mp3Encoder(std::filesystem::path path);
};

} // namespace tw
