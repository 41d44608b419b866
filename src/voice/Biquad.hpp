// One second-order filter section in transposed direct form II, with the cookbook designs the
// voice treatment uses (high-pass and peaking). A plain value: a chain is a list of them.
#pragma once

namespace tw {

struct Biquad {
    // Coefficients normalised so that a0 = 1.
    double b0 = 1.0;
    double b1 = 0.0;
    double b2 = 0.0;
    double a1 = 0.0;
    double a2 = 0.0;
    // State, zero when made.
    double z1 = 0.0;
    double z2 = 0.0;

    double process(double x)
    {
        double y = b0 * x + z1;
        z1 = b1 * x - a1 * y + z2;
        z2 = b2 * x - a2 * y;
        return y;
    }

    // Second-order high-pass at frequency Hz; twoQ is 2·Q (1.414 for Q = 0.707).
    static Biquad highPass(double frequency, double twoQ, double rate);
    // Peaking bell of gainDb at frequency Hz.
    static Biquad peaking(double frequency, double twoQ, double gainDb, double rate);

    bool operator==(const Biquad&) const = default;
};

} // namespace tw
