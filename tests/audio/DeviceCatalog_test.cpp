#include "audio/SimulatedDeviceCatalog.hpp"

#include <gtest/gtest.h>

#include <set>

using namespace tw;

TEST(DeviceCatalog, identifiersFollowTheSourceNameAndChangesAreAnnouncedOnceVisible)
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

    // The simulated catalog announces each change once the new list can be read.
    SimulatedDeviceCatalog catalog({SimulatedDeviceCatalog::source("mic.a", "Micrófono A")});
    std::vector<std::size_t> sizesSeen;
    catalog.setChangeHandler([&] { sizesSeen.push_back(catalog.sources().size()); });
    catalog.setSources({catalog.sources()[0], SimulatedDeviceCatalog::source("mic.b", "B")});
    catalog.setSources({});
    EXPECT_EQ(sizesSeen, (std::vector<std::size_t>{2, 0}));
}
