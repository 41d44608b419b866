// What the tape deck shows, computed from plain transport values so that it can be checked
// without a window: the status word, the lamp, the level on its meters and the reel rotation.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tw {

struct PodcastProject;

// The transport flags the deck's status depends on.
struct DeckTransport {
    std::optional<int> countdown;
    int shuttleDirection = 0; // −1 rewinding, 0 none, +1 winding forward
    bool recording = false;
    bool recordingPaused = false;
    bool playing = false;
    bool pauseEngaged = false;
};

enum class DeckLamp { grey, red, green, yellow };

// The state word: the countdown number, "REW"/"FF", "PAUSA"/"REC", "PLAY", "PAUSA"/"STOP", in
// that order of precedence.
std::string deckStatus(const DeckTransport& transport);
DeckLamp deckLamp(const DeckTransport& transport);
// The deck's accessibility label for a status word.
std::string deckAccessibleName(const std::string& status);

// The level on the deck's meters, 0…1: the input meter while recording, the envelope of the voice
// clip under the position (times the voice volume) while playing, else 0.
float deckLevel(bool recording, bool playing, float meter, double position,
                const PodcastProject& project,
                const std::map<std::string, std::vector<float>>& voiceWaveforms);

// The rotation of a small deck meter's needle in degrees: −45 at silence, +45 from 0.5 up.
double deckNeedleRotation(double level);

// How many times playback speed the reels turn, signed: 8 × direction while shuttling, 1 while
// playing or recording unpaused, else 0.
double reelSpeedFactor(const DeckTransport& transport);
// Seconds since the clock last advanced the reels, kept within 0…0.2 so that a stalled frame
// never makes the reels jump.
double reelFrameDelta(double now, double previousReelTick);
// A reel's drawn angle: its stored angle carried on by the time since the clock last moved it.
double reelDrawAngle(double storedAngle, double factor, double frameDelta, double speed);

} // namespace tw
