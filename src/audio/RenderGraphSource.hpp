// The bottom of the render graph: the audio files of a track, kept open for its whole life, and
// the stream that turns one placed piece of a file into stereo frames at the output rate
// (decoded, resampled on an exact grid, a mono source fed to both channels, more than two
// folded down to two, silence past the file's end). Used by the player's read-ahead thread and by
// offline renders, never by the render callback: it reads files and allocates.
#pragma once

#include "audio/AudioFileReader.hpp"
#include "audio/Resampler.hpp"
#include "base/Result.hpp"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

namespace tw {

// Channels of every track's audio inside the graph and at its output.
inline constexpr int graphChannels = 2;

struct SourceFile {
    std::filesystem::path path;
    double sampleRate = 0;
    int channels = 0;
    std::int64_t frames = 0; // length as the composition saw it
};

// One stretch of a track in output frames: [start, end) plays the source from sourceStart (a
// frame at the source's own rate) on, or silence when source is -1.
struct TrackPiece {
    std::int64_t start = 0;
    std::int64_t end = 0;
    int source = -1;
    std::int64_t sourceStart = 0;
};

// The files of a track, each opened once on first use and reused by every piece of it.
class ReaderPool {
public:
    explicit ReaderPool(std::vector<SourceFile> sources);

    const std::vector<SourceFile>& sources() const { return sources_; }
    // Opens the file on first use; fails with the reader's own error.
    Result<AudioFileReader*> reader(int source);
    // Opens every file now, so a missing or unreadable one is reported up front.
    Result<void> openAll();

private:
    std::vector<SourceFile> sources_;
    std::vector<std::unique_ptr<AudioFileReader>> readers_;
};

// Produces the frames of one piece from any offset into it. The same offset always gives the
// same samples, wherever the stream was started.
class PieceStream {
public:
    explicit PieceStream(int outputRate) : outputRate_(outputRate) {}

    // Positions the stream at `offset` output frames into the piece.
    Result<void> start(const TrackPiece& piece, ReaderPool& pool, std::int64_t offset);
    // Writes the next frames (interleaved stereo) and moves on.
    Result<void> produce(float* stereo, int frames);
    // Output frames into the piece of the next frame produced.
    std::int64_t offset() const { return offset_; }

private:
    Result<void> produceDirect(float* stereo, int frames);
    Result<void> produceResampled(float* stereo, int frames);
    // Fills input_ with up to frames source frames from inputPosition_ on (zeros past the end of
    // the file), in the stream's channel count.
    Result<int> readInput(int frames);
    // Pulls frames of resampled audio into resampled_.
    Result<void> pullResampled(int frames);
    void toStereo(const float* from, float* stereo, int frames) const;

    int outputRate_;
    AudioFileReader* reader_ = nullptr;
    int fileChannels_ = 0;
    int streamChannels_ = 0; // 1 or 2: what is resampled
    std::int64_t fileFrames_ = 0;
    std::int64_t offset_ = 0;
    std::int64_t silentFrom_ = 0;    // piece offset from which the source has ended
    std::int64_t inputPosition_ = 0; // next source frame to read
    std::unique_ptr<Resampler> resampler_;
    std::vector<float> fileBuffer_;
    std::vector<float> input_;
    std::vector<float> resampled_;
};

} // namespace tw
