#include "voice/VoiceProcessor.hpp"

#include "audio/AudioFileReader.hpp"
#include "audio/CafWriter.hpp"
#include "base/Uuid.hpp"
#include "voice/VoiceDSP.hpp"

#include <charconv>
#include <cmath>
#include <new>
#include <system_error>
#include <vector>

namespace tw::VoiceProcessor {

namespace {

const char* flagText(bool value)
{
    return value ? "true" : "false";
}

Error fileSystemError(const std::error_code& code)
{
    return systemError(code.value());
}

} // namespace

std::string decimalText(double value)
{
    char text[64];
    // Plain notation for everyday magnitudes, scientific for the very small and the very large.
    double magnitude = std::fabs(value);
    bool plain = magnitude == 0.0 || (magnitude >= 1e-4 && magnitude < 9007199254740992.0);
    auto result =
        plain ? std::to_chars(text, text + sizeof text, value, std::chars_format::fixed)
              : std::to_chars(text, text + sizeof text, value, std::chars_format::scientific);
    std::string decimal(text, result.ptr);
    if (std::isfinite(value) && decimal.find_first_of(".e") == std::string::npos)
        decimal += ".0";
    return decimal;
}

std::string cacheName(const std::string& source, const VoiceTreatment& treatment)
{
    std::string bands = "legacy";
    if (treatment.eqBands) {
        bands.clear();
        for (std::size_t i = 0; i < treatment.eqBands->size(); ++i) {
            if (i > 0)
                bands += '_';
            bands += decimalText((*treatment.eqBands)[i]);
        }
    }
    return std::filesystem::path(source).stem().string() + '-' + flagText(treatment.enhance) + '-' +
           flagText(treatment.reduceNoise) + '-' + std::string(presetText(treatment.preset)) +
           "-level" + flagText(treatment.level == true) + "-eq" +
           decimalText(treatment.bass.value_or(0.0)) + '-' +
           decimalText(treatment.mid.value_or(0.0)) + '-' +
           decimalText(treatment.treble.value_or(0.0)) + "-bands" + bands + "-v4.caf";
}

Result<std::string> prepare(const std::string& source, const std::filesystem::path& folder,
                            const VoiceTreatment& treatment)
{
    namespace fs = std::filesystem;
    const std::string relative = ".Render/" + cacheName(source, treatment);
    const fs::path target = folder / relative;
    std::error_code code;
    if (fs::exists(target, code))
        return relative;

    const fs::path renderFolder = folder / ".Render";
    fs::create_directories(renderFolder, code);
    if (code)
        return fileSystemError(code);

    const fs::path temporary = renderFolder / (Uuid::random().text() + ".caf");
    Result<void> outcome = render(folder / source, temporary, treatment);
    if (outcome) {
        fs::rename(temporary, target, code);
        if (code)
            outcome = fileSystemError(code);
    }
    fs::remove(temporary, code); // still there only after a failure; errors do not matter here
    if (!outcome)
        return outcome.error();
    return relative;
}

Result<void> render(const std::filesystem::path& input, const std::filesystem::path& output,
                    const VoiceTreatment& treatment)
{
    auto reader = AudioFileReader::open(input);
    if (!reader)
        return reader.error();
    AudioFileReader& file = *reader.value();
    const double rate = file.sampleRate();
    const int channels = file.channels();
    auto writer = CafWriter::create(output, rate, channels);
    if (!writer)
        return writer.error();

    const Error noBuffer{ErrorDomain::voiceProcessor, 1,
                         "No se pudo preparar la memoria para procesar la voz."};
    if (channels <= 0 || !(rate > 0.0))
        return noBuffer;
    std::vector<float> buffer;
    try {
        buffer.resize(static_cast<std::size_t>(blockFrames) * static_cast<std::size_t>(channels));
    } catch (const std::bad_alloc&) {
        return noBuffer;
    }

    VoiceDSP dsp(treatment);
    dsp.prepare(rate, channels);
    while (file.position() < file.length()) {
        auto read = file.read(buffer.data(), blockFrames);
        if (!read)
            return read.error();
        const int frames = read.value();
        // A source that ends before its length (cut short while rendering) must not leave a
        // render that looks complete.
        if (frames == 0)
            return Error{ErrorDomain::audio, AudioFileError::read,
                         "El archivo de audio terminó antes de tiempo: " + input.string()};
        AudioBufferList list = AudioBufferList::interleaved(buffer.data(), channels);
        dsp.process(list, frames);
        auto written = writer.value()->writeInterleaved(buffer.data(), frames);
        if (!written)
            return written.error();
    }
    return writer.value()->close();
}

} // namespace tw::VoiceProcessor
