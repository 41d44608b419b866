// Real audio for the mix builder tests: float CAF files written with the project's own writer,
// deterministic noise to recognise every sample, and small measurements on rendered stereo.
#pragma once

#include "support/ProjectAudio.hpp"
#include "support/Signals.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <vector>

namespace tw::mixtest {

using signals::noise;
using signals::peak;
using signals::sampleAt;
using testfiles::readAll;
using testfiles::writeCaf;

} // namespace tw::mixtest
