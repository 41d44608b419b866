#include "audio/PulseDeviceCatalog.hpp"

#include "PulseRig.hpp"

#include <algorithm>
#include <atomic>

using namespace tw;

namespace {

class PulseDeviceCatalogTest : public rig::PulseRigTest {};

bool listed(const std::vector<CaptureSource>& sources, const std::string& name)
{
    return std::ranges::any_of(sources, [&](const CaptureSource& s) { return s.name == name; });
}

} // namespace

TEST_F(PulseDeviceCatalogTest, listsTheMicrophonesByTheirDescriptionsWithoutMonitorsAsTheyComeAndGo)
{
    PulseDeviceCatalog catalog;
    std::atomic<int> changes{0};
    std::atomic<bool> sawProbe{false};
    // The handler may read the catalog again (the studio refreshes its list there).
    catalog.setChangeHandler([&] {
        sawProbe = listed(catalog.sources(), "tw_catalog_probe");
        ++changes;
    });
    rig::ExtraMicrophone probe("tw_catalog_probe");
    ASSERT_TRUE(probe.loaded());
    EXPECT_TRUE(rig::eventually([&] { return sawProbe.load(); }));
    const auto sources = catalog.sources();
    ASSERT_TRUE(listed(sources, rig::micName));
    for (const auto& source : sources) {
        EXPECT_NE(source.id, 0u);
        EXPECT_EQ(source.id, captureSourceId(source.name));
        EXPECT_EQ(source.name.find(".monitor"), std::string::npos) << source.name;
        if (source.name == rig::micName || source.name == "tw_catalog_probe") {
            EXPECT_EQ(source.description,
                      source.name == rig::micName ? rig::micDescription : "Sonda");
        }
    }

    const int before = changes;
    probe.unload();
    EXPECT_TRUE(rig::eventually([&] { return changes > before && !sawProbe; }));
    EXPECT_FALSE(listed(catalog.sources(), "tw_catalog_probe"));
}
