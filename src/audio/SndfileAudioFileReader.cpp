#include "audio/SndfileAudioFileReader.hpp"

#include "audio/SndfileError.hpp"
#include "base/ReadableFile.hpp"

#include <sndfile.h>

#include <cstring>
#include <unistd.h>

namespace tw {

namespace {

class SndfileAudioFileReader final : public AudioFileReader {
public:
    SndfileAudioFileReader(SNDFILE* file, const SF_INFO& info, std::filesystem::path path)
        : file_(file)
        , info_(info)
        , path_(std::move(path))
    {
    }
    ~SndfileAudioFileReader() override { sf_close(file_); }
    SndfileAudioFileReader(const SndfileAudioFileReader&) = delete;
    SndfileAudioFileReader& operator=(const SndfileAudioFileReader&) = delete;

    double sampleRate() const override { return info_.samplerate; }
    int channels() const override { return info_.channels; }
    std::int64_t length() const override { return info_.frames; }
    std::int64_t position() const override { return position_; }

    Result<int> read(float* interleaved, int frames) override
    {
        if (frames <= 0)
            return 0;
        const sf_count_t got = sf_readf_float(file_, interleaved, frames);
        if (got < 0 || (got < frames && sf_error(file_) != SF_ERR_NO_ERROR))
            return failure(AudioFileError::read, "No se pudo leer el archivo de audio");
        position_ += got;
        return static_cast<int>(got);
    }

    Result<void> seek(std::int64_t frame) override
    {
        if (frame < 0)
            frame = 0;
        if (frame > info_.frames)
            frame = info_.frames;
        if (sf_seek(file_, frame, SEEK_SET) < 0)
            return failure(AudioFileError::seek, "No se pudo situar la lectura en");
        position_ = frame;
        return {};
    }

private:
    Error failure(int code, const std::string& what) const
    {
        return Error{"Audio", code,
                     what + " «" + path_.filename().string() + "»: " + sndfileDescription(file_)};
    }

    SNDFILE* file_;
    SF_INFO info_;
    std::filesystem::path path_;
    std::int64_t position_ = 0;
};

} // namespace

namespace {

// Only CAF and RIFF/WAVE files are worth handing to libsndfile; anything else (MP3 above all,
// which libsndfile would scan on its own) goes straight to FFmpeg.
bool looksLikeCafOrWav(int fd)
{
    char magic[12] = {};
    const ssize_t got = ::pread(fd, magic, sizeof magic, 0);
    return (got >= 4 && std::memcmp(magic, "caff", 4) == 0) ||
           (got == 12 && std::memcmp(magic, "RIFF", 4) == 0 &&
            std::memcmp(magic + 8, "WAVE", 4) == 0);
}

} // namespace

std::unique_ptr<AudioFileReader> openFloatFileWithSndfile(const std::filesystem::path& path)
{
    // Whatever this route cannot open, FFmpeg's route opens or reports.
    Result<ReadableFile> opened = ReadableFile::open(path);
    if (!opened || !looksLikeCafOrWav(opened.value().descriptor()))
        return nullptr;
    SF_INFO info{};
    SNDFILE* file = sf_open_fd(opened.value().release(), SFM_READ, &info, SF_TRUE);
    if (!file)
        return nullptr;
    const int container = info.format & SF_FORMAT_TYPEMASK;
    const bool fits = (container == SF_FORMAT_CAF || container == SF_FORMAT_WAV ||
                       container == SF_FORMAT_WAVEX) &&
                      (info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_FLOAT && info.channels > 0 &&
                      info.samplerate > 0 && info.frames >= 0;
    if (!fits) {
        sf_close(file);
        return nullptr;
    }
    return std::make_unique<SndfileAudioFileReader>(file, info, path);
}

} // namespace tw
