// A processor attached to one track of an audio mix. It runs on the render thread on the track's
// audio before the track's volume automation, so it must never lock, allocate or wait in
// process(). prepare() is called before the first process() and again when the format changes.
#pragma once

#include "audio/AudioBufferList.hpp"

namespace tw {

enum class SampleType { float32, float64, int16, int32 };

struct StreamFormat {
    double sampleRate = 48000;
    int channels = 2;
    SampleType sampleType = SampleType::float32;
    bool linearPcm = true;

    bool operator==(const StreamFormat&) const = default;
};

class ProcessingTap {
public:
    virtual ~ProcessingTap() = default;
    // Render thread (or the thread that prepares the graph); may allocate.
    virtual void prepare(int maxFrames, const StreamFormat& format) = 0;
    // Render thread: processes frames of audio in place.
    virtual void process(AudioBufferList& list, int frames) = 0;
    virtual void unprepare() = 0;
};

} // namespace tw
