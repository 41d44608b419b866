// Signals, files and measurements for the render graph and player tests: real audio files made on
// the spot (float CAF by the project's own writer, other formats by the ffmpeg tool), and the few
// measurements the tests make on rendered audio.
#pragma once

#include "PulseRig.hpp"
#include "audio/AudioMix.hpp"
#include "audio/Composition.hpp"
#include "audio/OfflineRenderer.hpp"
#include "audio/ProcessingTap.hpp"
#include "support/AudioFiles.hpp"
#include "support/ProjectAudio.hpp"
#include "support/Signals.hpp"
#include "support/SoundChecks.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace tw::graphtest {

using ScratchFolder = testfiles::TempDir;
using rig::channel;
using signals::noise;
using signals::peak;
using signals::sampleAt;
using testfiles::writeCaf;
using testing::sineTone;

inline AudioAsset loadAsset(const std::filesystem::path& file)
{
    auto asset = AudioAsset::load(file);
    if (!asset)
        throw std::runtime_error(asset.error().description);
    return asset.value();
}

inline MediaTime seconds(double s)
{
    return MediaTime::fromSeconds(s);
}

// The automation the mix builder makes for a voice clip: silent outside, v inside.
inline void addClipVolume(VolumeAutomation& volume, MediaTime start, MediaTime duration, float v)
{
    volume.setVolumeRamp(v, v, start, duration);
    volume.setVolume(0, start + duration);
}

inline std::vector<float> renderBuffer(const Composition& composition, const AudioMix& mix,
                                       double from, double length,
                                       const OfflineRenderOptions& options = {})
{
    auto rendered =
        renderOfflineToBuffer(composition, mix, seconds(from), seconds(length), options);
    if (!rendered)
        throw std::runtime_error(rendered.error().description);
    return std::move(rendered).value();
}

struct Programme {
    Composition composition;
    AudioMix mix;
};

// The programme the render, player and export tests share: two voice clips from one 48 kHz mono
// take (0.5–2 s of it at 1 s at 0.9 × level, then 0.2–2.2 s at 2.75 s at 0.6 × level) and, with
// `music` (44.1 kHz stereo, so resampled), a bed from 1.5 s to 5.5 s, from 0.5 s into its file,
// that fades in to 0.7 over its first second and out over its last.
inline Programme makeProgramme(const ScratchFolder& folder, const std::vector<float>& voice,
                               const std::vector<float>& music = {}, float voiceLevel = 1)
{
    writeCaf(folder / "voice.caf", voice, 48000, 1);
    const AudioAsset take = loadAsset(folder / "voice.caf");
    Programme p;
    CompositionTrack* track = p.composition.addTrack(1);
    EXPECT_TRUE(track->insertTimeRange(take, seconds(0.5), seconds(1.5), seconds(1)));
    EXPECT_TRUE(track->insertTimeRange(take, seconds(0.2), seconds(2), seconds(2.75)));
    p.mix.inputParameters.push_back(InputParameters{1, {}, nullptr});
    VolumeAutomation& volume = p.mix.inputParameters[0].volume;
    volume.setVolume(0, {});
    addClipVolume(volume, seconds(1), seconds(1.5), 0.9f * voiceLevel);
    addClipVolume(volume, seconds(2.75), seconds(2), 0.6f * voiceLevel);
    if (music.empty())
        return p;
    writeCaf(folder / "music.caf", music, 44100, 2);
    EXPECT_TRUE(p.composition.addTrack(2)->insertTimeRange(loadAsset(folder / "music.caf"),
                                                           seconds(0.5), seconds(4), seconds(1.5)));
    p.mix.inputParameters.push_back(InputParameters{2, {}, nullptr});
    VolumeAutomation& fades = p.mix.inputParameters[1].volume;
    fades.setVolume(0, {});
    fades.setVolumeRamp(0, 0.7f, seconds(1.5), seconds(1));
    fades.setVolumeRamp(0.7f, 0, seconds(4.5), seconds(1));
    return p;
}

// The first frame whose left or right sample is not silent, or -1.
inline std::int64_t firstSound(const std::vector<float>& stereo, std::int64_t from = 0,
                               float threshold = 1e-6f)
{
    for (std::size_t i = static_cast<std::size_t>(from * 2); i < stereo.size(); ++i)
        if (std::fabs(stereo[i]) > threshold)
            return static_cast<std::int64_t>(i / 2);
    return -1;
}

// A tap that counts its calls, keeps the largest sample it was given and applies a gain.
class CountingTap final : public ProcessingTap {
public:
    void prepare(int, const StreamFormat& format) override
    {
        ++prepares;
        preparedFormat = format;
    }
    void process(AudioBufferList& list, int frames) override
    {
        framesProcessed += frames;
        float p = largestInput.load();
        for (int b = 0; b < list.count; ++b)
            for (int i = 0; i < frames * list.buffers[b].channels; ++i) {
                p = std::max(p, std::fabs(list.buffers[b].data[i]));
                list.buffers[b].data[i] *= gain;
            }
        largestInput = p;
    }
    void unprepare() override { ++unprepares; }

    std::atomic<int> prepares{0};
    std::atomic<int> unprepares{0};
    std::atomic<std::int64_t> framesProcessed{0};
    std::atomic<float> largestInput{0};
    StreamFormat preparedFormat;
    float gain = 1.0f;
};

} // namespace tw::graphtest
