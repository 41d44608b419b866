#include "audio/AudioFileReader.hpp"

#include "audio/FfmpegAudioFileReader.hpp"
#include "audio/SndfileAudioFileReader.hpp"

namespace tw {

Result<std::unique_ptr<AudioFileReader>> AudioFileReader::open(const std::filesystem::path& path)
{
    if (auto fast = openFloatFileWithSndfile(path))
        return fast;
    return openWithFfmpeg(path);
}

Result<std::unique_ptr<AudioFileReader>>
AudioFileReader::openWithFfmpeg(const std::filesystem::path& path)
{
    auto reader = FfmpegAudioFileReader::open(path);
    if (!reader)
        return reader.error();
    return std::unique_ptr<AudioFileReader>(std::move(reader).value());
}

} // namespace tw
