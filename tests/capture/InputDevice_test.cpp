#include "capture/InputDevice.hpp"

#include "audio/SimulatedDeviceCatalog.hpp"

#include <gtest/gtest.h>

using namespace tw;

// The picker lists the named sources in the catalogue's order, each under an identifier derived
// from its name, so a device unplugged and plugged again keeps it; 0 is the system default.
TEST(InputDevice, listsNamedSourcesInCatalogueOrderWithIdentifiersThatSurviveAReplug)
{
    auto source = SimulatedDeviceCatalog::source;
    SimulatedDeviceCatalog catalog({source("usb.mic.1", "Micrófono USB"),
                                    source("builtin.mic", "Micrófono interno"),
                                    source("nameless", ""), source("usb.mic.2", "Micrófono USB"),
                                    CaptureSource{0, "default", "Predeterminado"}});
    EXPECT_EQ(InputDevice::all(catalog),
              (std::vector<InputDevice>{{captureSourceId("usb.mic.1"), "Micrófono USB"},
                                        {captureSourceId("builtin.mic"), "Micrófono interno"},
                                        {captureSourceId("usb.mic.2"), "Micrófono USB"}}));
    EXPECT_NE(captureSourceId("usb.mic.1"), captureSourceId("usb.mic.2"));

    catalog.setSources({source("builtin.mic", "Micrófono interno")});
    EXPECT_EQ(InputDevice::all(catalog).size(), 1u);
    catalog.setSources({source("builtin.mic", "Micrófono interno"), source("usb.mic.1", "USB")});
    EXPECT_EQ(InputDevice::all(catalog)[1].id, captureSourceId("usb.mic.1"));
    SimulatedDeviceCatalog empty;
    EXPECT_TRUE(InputDevice::all(empty).empty());
}
