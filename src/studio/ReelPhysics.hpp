// The tape reel model behind the deck: a 7.5 ips tape wound from a supply reel onto a take-up
// reel, each with a 35 mm hub and full at 128 mm, holding at least two hours of programme.
#pragma once

namespace tw::ReelPhysics {

struct Radii {
    double supply = 0; // metres
    double takeup = 0;
};

struct Speeds {
    double supply = 0; // degrees per second
    double takeup = 0;
};

// The share of the tape already on the take-up reel, 0…1; a programme shorter than two hours
// never empties the supply reel.
double woundShare(double position, double duration);
// The radii of the two tape packs, hub included.
Radii packRadii(double position, double duration);
// How fast each reel turns for the tape to run at constant linear speed.
Speeds angularSpeeds(double position, double duration);

} // namespace tw::ReelPhysics
