#include "audio/CafWriter.hpp"

#include "audio/AudioFileReader.hpp"
#include "audio/SndfileError.hpp"

#include <sndfile.h>

#include <cstring>
#include <optional>
#include <vector>

namespace tw {

namespace {

// libsndfile writes a CAF data chunk size of zero and corrects it only on close, so a killed
// writer would leave a file that reads as empty. With automatic header updates the data size is
// rewritten after every write: whatever was written before a kill stays readable.
class SndfileCafWriter final : public CafWriter {
public:
    SndfileCafWriter(SNDFILE* file, double sampleRate, int channels, std::filesystem::path path)
        : file_(file)
        , sampleRate_(sampleRate)
        , channels_(channels)
        , path_(std::move(path))
    {
    }
    ~SndfileCafWriter() override { (void)close(); }
    SndfileCafWriter(const SndfileCafWriter&) = delete;
    SndfileCafWriter& operator=(const SndfileCafWriter&) = delete;

    double sampleRate() const override { return sampleRate_; }
    int channels() const override { return channels_; }
    std::int64_t framesWritten() const override { return framesWritten_; }

    Result<void> write(const AudioBufferList& list, int frames) override
    {
        if (frames <= 0)
            return {};
        if (list.totalChannels() != channels_)
            return Error{"Audio", AudioFileError::write,
                         "El audio no tiene los canales de «" + path_.filename().string() + "»."};
        if (list.count == 1)
            return writeInterleaved(list.buffers[0].data, frames);
        // Interleave into a scratch buffer kept across calls (the writer runs on one queue).
        scratch_.resize(static_cast<std::size_t>(frames) * channels_);
        int first = 0;
        for (int b = 0; b < list.count; ++b) {
            const AudioBuffer& buffer = list.buffers[b];
            for (int f = 0; f < frames; ++f) {
                for (int c = 0; c < buffer.channels; ++c) {
                    scratch_[static_cast<std::size_t>(f) * channels_ + first + c] =
                        buffer.data ? buffer.data[static_cast<std::size_t>(f) * buffer.channels + c]
                                    : 0.0f;
                }
            }
            first += buffer.channels;
        }
        return writeInterleaved(scratch_.data(), frames);
    }

    Result<void> writeInterleaved(const float* samples, int frames) override
    {
        if (frames <= 0)
            return {};
        if (!file_)
            return Error{"Audio", AudioFileError::write,
                         "El archivo «" + path_.filename().string() + "» ya está cerrado."};
        // After a failed write libsndfile's idea of the end of the data is wrong: the next write
        // would land over the beginning of the take. What the file holds stays as it is.
        if (writeFailure_)
            return *writeFailure_;
        const sf_count_t written = sf_writef_float(file_, samples, frames);
        if (written > 0)
            framesWritten_ += written;
        if (written != frames) {
            writeFailure_ = failure("No se pudo escribir el archivo de audio");
            return *writeFailure_;
        }
        return {};
    }

    Result<void> close() override
    {
        if (!file_)
            return {};
        const int status = sf_close(file_);
        file_ = nullptr;
        if (status != 0)
            return Error{"Audio", AudioFileError::write,
                         "No se pudo cerrar el archivo de audio «" + path_.filename().string() +
                             "»: " + sndfileDescription(status)};
        return {};
    }

private:
    Error failure(const std::string& what) const
    {
        return Error{"Audio", AudioFileError::write,
                     what + " «" + path_.filename().string() + "»: " + sndfileDescription(file_)};
    }

    SNDFILE* file_;
    double sampleRate_;
    int channels_;
    std::filesystem::path path_;
    std::int64_t framesWritten_ = 0;
    std::optional<Error> writeFailure_;
    std::vector<float> scratch_;
};

} // namespace

Result<std::unique_ptr<CafWriter>> CafWriter::create(const std::filesystem::path& path,
                                                     double sampleRate, int channels)
{
    const std::string name = path.filename().string();
    if (!(sampleRate >= 1.0) || sampleRate > 2147483647.0 || channels <= 0 || channels > 1024)
        return Error{"Audio", AudioFileError::write,
                     "No se puede crear «" + name + "» con ese formato de audio."};
    SF_INFO info{};
    info.samplerate = static_cast<int>(sampleRate + 0.5);
    info.channels = channels;
    // Little-endian float: the byte order of the machine, so readers copy samples unchanged.
    info.format = SF_FORMAT_CAF | SF_FORMAT_FLOAT | SF_ENDIAN_LITTLE;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!file)
        return Error{"Audio", AudioFileError::write,
                     "No se pudo crear el archivo de audio «" + name +
                         "»: " + sndfileDescription(nullptr)};
    sf_command(file, SFC_SET_UPDATE_HEADER_AUTO, nullptr, SF_TRUE);
    return std::unique_ptr<CafWriter>(
        std::make_unique<SndfileCafWriter>(file, sampleRate, channels, path));
}

} // namespace tw
