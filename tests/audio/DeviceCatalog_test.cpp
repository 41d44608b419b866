#include "audio/SimulatedDeviceCatalog.hpp"

#include <gtest/gtest.h>

#include <set>

using namespace tw;

TEST(DeviceCatalog, identifiersFollowTheSourceNameAndAreNeverZero)
{
    // The same name gives the same identifier in any catalog, so a device plugged in again
    // keeps its selection.
    EXPECT_EQ(captureSourceId("alsa_input.usb-Blue_Yeti-00.analog-stereo"),
              captureSourceId(std::string("alsa_input.usb-Blue_Yeti-00.analog-stereo")));
    EXPECT_NE(captureSourceId("alsa_input.pci-0000_00_1f.3.analog-stereo"),
              captureSourceId("alsa_input.pci-0000_00_1f.3.analog-stereo.2"));

    std::set<std::uint32_t> seen;
    for (int i = 0; i < 20000; ++i) {
        auto id = captureSourceId("alsa_input.device-" + std::to_string(i));
        EXPECT_NE(id, 0u);
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 20000u); // no collisions among similar names
    EXPECT_NE(captureSourceId(""), 0u);
}

TEST(DeviceCatalog, simulatedCatalogAnnouncesEveryChangeAfterItIsVisible)
{
    SimulatedDeviceCatalog catalog({SimulatedDeviceCatalog::source("mic.a", "Micrófono A")});
    std::vector<std::size_t> sizesSeen;
    catalog.setChangeHandler([&] { sizesSeen.push_back(catalog.sources().size()); });

    catalog.setSources({SimulatedDeviceCatalog::source("mic.a", "Micrófono A"),
                        SimulatedDeviceCatalog::source("mic.b", "Micrófono B")});
    catalog.setSources({});

    EXPECT_EQ(sizesSeen, (std::vector<std::size_t>{2, 0}));
    EXPECT_TRUE(catalog.sources().empty());
}
