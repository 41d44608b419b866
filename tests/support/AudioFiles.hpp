// Audio files for tests, made on the fly with the ffmpeg and sox tools (no audio is checked in),
// and the ffmpeg tool's own decode of a file as the reference to compare against.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace tw::testfiles {

// A fresh folder under the system temporary folder, removed with everything in it.
class TempDir {
public:
    TempDir()
    {
        std::string name = std::filesystem::temp_directory_path() / "tapewright-test-XXXXXX";
        if (!::mkdtemp(name.data()))
            throw std::runtime_error("cannot make a temporary folder in " + name);
        path_ = name;
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

// A number as command-line tools read it, whatever the process's locale.
inline std::string decimal(double value)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << value;
    return text.str();
}

inline std::string quoted(const std::filesystem::path& path)
{
    std::string out = "'";
    for (char c : path.string()) {
        if (c == '\'')
            out += "'\\''";
        else
            out += c;
    }
    return out + "'";
}

// Runs a shell command; throws with the command when it fails, so a broken generator is seen
// as such and not as a failure of the code under test.
inline void run(const std::string& command)
{
    const int status = std::system(command.c_str());
    if (status != 0)
        throw std::runtime_error("command failed (" + std::to_string(status) + "): " + command);
}

// A sine tone made by ffmpeg's generator and encoded by ffmpeg into file (the extension picks the
// container); codecArgs chooses the encoding, e.g. "-c:a pcm_s24le" or "-c:a libmp3lame".
inline void makeTone(const std::filesystem::path& file, int rate, int channels, double seconds,
                     const std::string& codecArgs = "", double frequency = 441.0)
{
    run("ffmpeg -nostdin -y -v error -f lavfi -i 'sine=frequency=" + decimal(frequency) +
        ":sample_rate=" + std::to_string(rate) + ":duration=" + decimal(seconds) +
        "' -af 'volume=0.5' -ac " + std::to_string(channels) + " " + codecArgs + " " +
        quoted(file));
}

// Writes interleaved float samples as raw f32le and has ffmpeg encode them into file.
inline void encodeSamples(const std::filesystem::path& file, const std::vector<float>& samples,
                          int rate, int channels, const std::string& codecArgs = "")
{
    const std::filesystem::path raw = file.string() + ".f32";
    {
        std::ofstream out(raw, std::ios::binary);
        out.write(reinterpret_cast<const char*>(samples.data()),
                  static_cast<std::streamsize>(samples.size() * sizeof(float)));
    }
    run("ffmpeg -nostdin -y -v error -f f32le -ar " + std::to_string(rate) + " -ac " +
        std::to_string(channels) + " -i " + quoted(raw) + " " + codecArgs + " " + quoted(file));
    std::filesystem::remove(raw);
}

// What a shell command prints; throws when it cannot run or fails.
inline std::string commandOutput(const std::string& command)
{
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe)
        throw std::runtime_error("cannot run: " + command);
    std::string out;
    char buffer[512];
    while (std::size_t got = std::fread(buffer, 1, sizeof buffer, pipe))
        out.append(buffer, got);
    if (pclose(pipe) != 0)
        throw std::runtime_error("failed: " + command);
    return out;
}

// The ffmpeg tool's decode of file as interleaved float samples (its own channel count).
inline std::vector<float> decodeWithFfmpeg(const std::filesystem::path& file)
{
    const std::string bytes =
        commandOutput("ffmpeg -nostdin -v error -i " + quoted(file) + " -map 0:a:0 -f f32le -");
    std::vector<float> samples(bytes.size() / sizeof(float));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
    return samples;
}

// A small one-colour image made by ffmpeg; the extension picks PNG or JPEG.
inline void makeImage(const std::filesystem::path& file)
{
    run("ffmpeg -nostdin -y -v error -f lavfi -i color=red:s=32x32 -frames:v 1 " + quoted(file));
}

// What an exported file says about itself, as ffprobe reads it: its chapters ("start,end,title"
// lines, seconds), its tags ("TAG:title=…" lines) and its streams ("codec,attached picture"
// lines).
struct Probed {
    std::string chapters, tags, streams;
};
inline Probed probeExport(const std::filesystem::path& file)
{
    const auto probe = [&](const std::string& entries, const std::string& format) {
        return commandOutput("ffprobe -v error -show_entries " + entries + " -of " + format + " " +
                             quoted(file));
    };
    return {probe("chapter=start_time,end_time:chapter_tags=title", "csv=p=0"),
            probe("format_tags=title,artist,album", "default=nw=1"),
            probe("stream=codec_name:stream_disposition=attached_pic", "csv=p=0")};
}

// The integrated loudness (LUFS) and true peak (dBTP) of a file as the ffmpeg tool's ebur128
// filter measures them (to a tenth).
struct ToolLevels {
    double integrated = 0;
    double truePeak = 0;
};
inline ToolLevels ebur128WithFfmpeg(const std::filesystem::path& file)
{
    const std::string out = commandOutput("ffmpeg -nostdin -nostats -i " + quoted(file) +
                                          " -af ebur128=peak=true -f null - 2>&1");
    // The summary comes last: its "I:" line, then the "Peak:" line under "True peak:".
    const auto value = [&](const std::string& key, std::size_t from) {
        const std::size_t at = out.find(key, from);
        if (at == std::string::npos)
            throw std::runtime_error("no " + key + " in: " + out);
        std::istringstream text(out.substr(at + key.size()));
        text.imbue(std::locale::classic());
        double number = 0;
        text >> number;
        return number;
    };
    const std::size_t summary = out.rfind("Summary:");
    return {value("I:", summary), value("Peak:", out.find("True peak:", summary))};
}

inline void writeBytes(const std::filesystem::path& file, const std::vector<std::uint8_t>& bytes)
{
    std::ofstream out(file, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

inline std::vector<std::uint8_t> readBytes(const std::filesystem::path& file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

} // namespace tw::testfiles
