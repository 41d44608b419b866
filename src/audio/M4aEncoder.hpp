// One AAC-LC stream in an .m4a file (FFmpeg's AAC encoder and its ipod muxer), 96 kb/s mono or
// 160 kb/s stereo: the last step of an M4A export. The index goes to the front of the file, the
// movie timescale is the sample rate so that the edit list skips the encoder's priming frames
// exactly, and the chapters become a QuickTime chapter track and a Nero "chpl" box.
#pragma once

#include "audio/AudioFileEncoder.hpp"

namespace tw {

// Whether this FFmpeg has the AAC encoder.
bool aacEncoderAvailable();
// The "Export" error of an AAC encoder failure, with FFmpeg's own text.
Error encoderError(int averror);

class M4aEncoder final : public AudioFileEncoder {
public:
    explicit M4aEncoder(std::filesystem::path path);
};

} // namespace tw
