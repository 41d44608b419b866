#include "capture/InputDevice.hpp"

#include "audio/SimulatedDeviceCatalog.hpp"

#include <gtest/gtest.h>

using namespace tw;

namespace {

CaptureSource source(const std::string& name, const std::string& description)
{
    return SimulatedDeviceCatalog::source(name, description);
}

} // namespace

TEST(InputDevice, listsNamedSourcesInTheCatalogsOrder)
{
    SimulatedDeviceCatalog catalog({source("usb.mic", "Micrófono USB"),
                                    source("builtin.mic", "Micrófono interno"),
                                    source("nameless", ""), source("line.in", "Entrada de línea")});

    auto devices = InputDevice::all(catalog);

    ASSERT_EQ(devices.size(), 3u);
    EXPECT_EQ(devices[0], (InputDevice{captureSourceId("usb.mic"), "Micrófono USB"}));
    EXPECT_EQ(devices[1], (InputDevice{captureSourceId("builtin.mic"), "Micrófono interno"}));
    EXPECT_EQ(devices[2], (InputDevice{captureSourceId("line.in"), "Entrada de línea"}));
}

TEST(InputDevice, twoDevicesWithTheSameNameAreBothListedWithTheirOwnIdentifiers)
{
    SimulatedDeviceCatalog catalog(
        {source("usb.mic.1", "Micrófono USB"), source("usb.mic.2", "Micrófono USB")});

    auto devices = InputDevice::all(catalog);

    ASSERT_EQ(devices.size(), 2u);
    EXPECT_EQ(devices[0].name, devices[1].name);
    EXPECT_NE(devices[0].id, devices[1].id);
}

TEST(InputDevice, anEmptyCatalogAndTheDefaultIdentifierGiveNoDevices)
{
    SimulatedDeviceCatalog empty;
    EXPECT_TRUE(InputDevice::all(empty).empty());

    // 0 stands for the system default and is never a listed device.
    SimulatedDeviceCatalog withZero({CaptureSource{0, "odd", "Sin identificador"}});
    EXPECT_TRUE(InputDevice::all(withZero).empty());
}

TEST(InputDevice, aFreshListAfterAnUnplugLeavesTheDeviceOut)
{
    SimulatedDeviceCatalog catalog(
        {source("usb.mic", "Micrófono USB"), source("builtin.mic", "Micrófono interno")});
    ASSERT_EQ(InputDevice::all(catalog).size(), 2u);

    catalog.setSources({source("builtin.mic", "Micrófono interno")});
    auto devices = InputDevice::all(catalog);

    ASSERT_EQ(devices.size(), 1u);
    EXPECT_EQ(devices[0].name, "Micrófono interno");
    // Plugged in again, it has the identifier it had before.
    catalog.setSources(
        {source("builtin.mic", "Micrófono interno"), source("usb.mic", "Micrófono USB")});
    EXPECT_EQ(InputDevice::all(catalog)[1].id, captureSourceId("usb.mic"));
}
