// What the device tests need around the private sound server that scripts/virtual-audio starts:
// a check that it is there, shell commands against it (pactl, paplay, parec, sox), a scratch
// folder, simple tone measurements, and sounds played into the virtual microphone and heard from
// the sink, waited for rather than timed.
#pragma once

#include "support/AudioFiles.hpp"
#include "support/BuildFolders.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace tw::rig {

inline constexpr const char* sinkName = "tapewright_out";
inline constexpr const char* micName = "tapewright_mic";
// The null sink mixes up to the keeper stream's latency ahead (20 ms, scripts/virtual-audio) and
// hands that to its monitor at once: what a recording of the sink has received, no flush takes
// back, so a seek is heard cut only to within that much. A sound card's sink rewinds instead.
inline constexpr double sinkRendersAhead = 0.020;

// A device test without the rig is a failure, not a skip: the test run always starts it.
class PulseRigTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!std::getenv("TAPEWRIGHT_AUDIO_RIG"))
            GTEST_FAIL() << "No virtual audio rig: run the device tests through scripts/run-tests, "
                            "or eval \"$(scripts/virtual-audio start)\" first.";
    }
};

// Runs a shell command; returns its exit status.
inline int run(const std::string& command)
{
    int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Runs a shell command and returns what it printed, without the final newline; unlike
// testfiles::commandOutput a failing command is an answer here (an empty one).
inline std::string output(const std::string& command)
{
    std::string text;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char chunk[256];
        while (std::fgets(chunk, sizeof chunk, pipe))
            text += chunk;
        pclose(pipe);
    }
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    return text;
}

// Another virtual microphone on the rig's sink, under its own name, until unload().
class ExtraMicrophone {
public:
    explicit ExtraMicrophone(const std::string& name)
        : module_(output(std::string("pactl load-module module-remap-source master=") + sinkName +
                         ".monitor source_name=" + name +
                         " source_properties=device.description=Sonda"))
    {
    }
    ~ExtraMicrophone() { unload(); }
    bool loaded() const { return !module_.empty(); }
    void unload()
    {
        if (loaded())
            run("pactl unload-module " + module_);
        module_.clear();
    }

private:
    std::string module_;
};

// The sample rate and channel count the server gives a source, from `pactl list short sources`.
struct SourceSpec {
    int rate = 0;
    int channels = 0;
};
inline SourceSpec sourceSpec(const std::string& name)
{
    // Columns: index, name, driver, sample format, "2ch", "48000Hz", state.
    std::string line =
        output("pactl list short sources | awk -v n='" + name + "' '$2 == n { print $5, $6 }'");
    SourceSpec sampleSpec;
    std::sscanf(line.c_str(), "%dch %dHz", &sampleSpec.channels, &sampleSpec.rate);
    return sampleSpec;
}

// A program started in the background by the shell, ended by its process id on leaving the scope.
class BackgroundProgram {
public:
    explicit BackgroundProgram(const std::string& command)
        : pid_(output(command + " >/dev/null 2>&1 & echo $!"))
    {
    }
    ~BackgroundProgram()
    {
        if (!pid_.empty())
            run("kill " + pid_ + " 2>/dev/null");
    }
    BackgroundProgram(const BackgroundProgram&) = delete;
    BackgroundProgram& operator=(const BackgroundProgram&) = delete;

private:
    std::string pid_;
};

struct ScratchFolder : testfiles::TempDir {
    std::string file(const std::string& name) const { return (*this / name).string(); }
};

// A stereo 48 kHz sine tone WAV made by sox.
inline bool makeTone(const std::string& path, double frequency, double seconds)
{
    return run("sox -q -n -r 48000 -c 2 -b 16 '" + path + "' synth " + std::to_string(seconds) +
               " sine " + std::to_string(frequency) + " vol 0.5") == 0;
}

// A file played into the rig's sink (so the virtual microphone hears it), to its end.
inline bool play(const std::string& file)
{
    return run(std::string("paplay --device=") + sinkName + " '" + file + "'") == 0;
}

// One channel of interleaved samples.
inline std::vector<float> channel(const std::vector<float>& interleaved, int channels, int c)
{
    std::vector<float> samples;
    for (std::size_t i = static_cast<std::size_t>(c); i < interleaved.size();
         i += static_cast<std::size_t>(channels))
        samples.push_back(interleaved[i]);
    return samples;
}

// The part of a signal that is louder than the threshold: from the first to the last such
// sample (the tone inside the silence around it).
inline std::vector<float> loudPart(const std::vector<float>& samples, float threshold = 0.05f)
{
    std::size_t first = 0;
    while (first < samples.size() && std::fabs(samples[first]) < threshold)
        ++first;
    std::size_t last = samples.size();
    while (last > first && std::fabs(samples[last - 1]) < threshold)
        --last;
    return {samples.begin() + static_cast<std::ptrdiff_t>(first),
            samples.begin() + static_cast<std::ptrdiff_t>(last)};
}

// Frequency from the rate of rising zero crossings.
inline double zeroCrossingFrequency(const std::vector<float>& samples, double rate)
{
    if (samples.size() < 2)
        return 0;
    int crossings = 0;
    for (std::size_t i = 1; i < samples.size(); ++i)
        if (samples[i - 1] < 0 && samples[i] >= 0)
            ++crossings;
    return crossings * rate / static_cast<double>(samples.size());
}

// Points new connections of this process at another server (an address that answers or not)
// for a scope.
class ServerOverride {
public:
    explicit ServerOverride(const std::string& address)
        : saved_(std::getenv("PULSE_SERVER") ? std::getenv("PULSE_SERVER") : "")
    {
        setenv("PULSE_SERVER", address.c_str(), 1);
    }
    ~ServerOverride() { setenv("PULSE_SERVER", saved_.c_str(), 1); }
    ServerOverride(const ServerOverride&) = delete;
    ServerOverride& operator=(const ServerOverride&) = delete;

private:
    std::string saved_;
};

// Another private server started with scripts/virtual-audio, stopped when the test says so (or
// at the end of the scope).
class PrivateServer {
public:
    PrivateServer()
        : startOutput_(
              output(std::string(testing::sourceFolder) + "/scripts/virtual-audio start 2>&1"))
    {
    }
    ~PrivateServer() { stop(); }
    PrivateServer(const PrivateServer&) = delete;
    PrivateServer& operator=(const PrivateServer&) = delete;

    bool started() const { return !value("TAPEWRIGHT_AUDIO_DIR").empty() && !address().empty(); }
    const std::string& startOutput() const { return startOutput_; }
    std::string address() const { return value("PULSE_SERVER"); }
    void stop()
    {
        if (started() && !stopped_)
            run("TAPEWRIGHT_AUDIO_DIR='" + value("TAPEWRIGHT_AUDIO_DIR") + "' '" +
                testing::sourceFolder + "/scripts/virtual-audio' stop");
        stopped_ = true;
    }

private:
    // The value of one `export NAME=value` line of the start output.
    std::string value(const std::string& name) const
    {
        const std::string key = "export " + name + "=";
        const auto at = startOutput_.find(key);
        if (at == std::string::npos)
            return {};
        const auto begin = at + key.size();
        return startOutput_.substr(begin, startOutput_.find('\n', begin) - begin);
    }

    std::string startOutput_;
    bool stopped_ = false;
};

// Polls a condition for up to `timeout` (the server works in real time, there is no clock to
// advance). The timeout only guards against a hang: a loaded machine may take its time.
template <class Condition>
bool eventually(Condition condition, std::chrono::milliseconds timeout = std::chrono::seconds(20))
{
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        if (condition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return condition();
}

// Interleaved float samples of a raw file.
inline std::vector<float> readFloats(const std::string& path)
{
    const std::vector<std::uint8_t> bytes = testfiles::readBytes(path);
    std::vector<float> samples(bytes.size() / sizeof(float));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
    return samples;
}

// Whether samples (one channel) hold a sound louder than threshold followed by a quarter second
// without one: what was played has been heard to its end.
inline bool heardToItsEnd(const std::vector<float>& samples, double rate, float threshold = 0.05f)
{
    std::size_t last = samples.size();
    while (last > 0 && std::fabs(samples[last - 1]) < threshold)
        --last;
    return last > 0 && static_cast<double>(samples.size() - last) >= 0.25 * rate;
}

// The rig sink's monitor recorded by parec into a file, from construction until finish(): what
// the program under test plays is heard there. It waits for audio, never for a length of time,
// so a loaded machine only makes it slower.
class MonitorRecording {
public:
    explicit MonitorRecording(std::string file) : file_(std::move(file))
    {
        parec_.emplace(std::string("parec --device=") + sinkName +
                       ".monitor --raw --format=float32le --rate=48000 --channels=2 "
                       "--latency-msec=20 '" +
                       file_ + "'");
    }

    // Whether parec delivers (the monitor's silence counts): wait for it before playing.
    bool listening() const
    {
        return eventually([&] {
            std::error_code error;
            const auto bytes = std::filesystem::file_size(file_, error);
            return !error && bytes > 0;
        });
    }

    // Once everything played has been heard to its end (on the left channel), stops parec and
    // returns the interleaved stereo recording. Gives up waiting after a minute.
    std::vector<float> finish(float threshold = 0.05f)
    {
        eventually(
            [&] { return heardToItsEnd(channel(readFloats(file_), 2, 0), 48000, threshold); },
            std::chrono::minutes(1));
        parec_.reset();
        return readFloats(file_);
    }

private:
    std::string file_;
    std::optional<BackgroundProgram> parec_;
};

// A sound file played into the rig's sink (so the virtual microphone hears it) in the
// background until the end of the scope.
class BackgroundSound {
public:
    explicit BackgroundSound(const std::string& file)
        : name_("tw-sound-" + std::to_string(std::random_device()()))
        , paplay_("paplay --device=" + std::string(sinkName) + " --stream-name=" + name_ + " '" +
                  file + "'")
    {
    }
    // Waits until the server plays it.
    bool playing() const
    {
        return eventually([&] {
            return run("pactl list sink-inputs | grep -q 'media.name = \"" + name_ + "\"'") == 0;
        });
    }

private:
    std::string name_;
    BackgroundProgram paplay_;
};

} // namespace tw::rig
