#include "audio/DeviceCatalog.hpp"

#include <gtest/gtest.h>

#include <set>

using namespace tw;

TEST(DeviceCatalog, identifiersFollowTheSourceNameAndAreNeverZero)
{
    // The same name gives the same identifier in any catalog, so a device plugged in again
    // keeps its selection.
    EXPECT_EQ(captureSourceId("alsa_input.usb-Blue_Yeti-00.analog-stereo"),
              captureSourceId(std::string("alsa_input.usb-Blue_Yeti-00.analog-stereo")));
    std::set<std::uint32_t> seen{captureSourceId("")};
    for (int i = 0; i < 20000; ++i)
        seen.insert(captureSourceId("alsa_input.device-" + std::to_string(i)));
    EXPECT_EQ(seen.size(), 20001u); // no collisions among similar names
    EXPECT_FALSE(seen.contains(0));
}
