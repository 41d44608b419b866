#include "audio/PulseDeviceCatalog.hpp"

#include "PulseRig.hpp"

#include <atomic>
#include <cstdlib>
#include <optional>

using namespace tw;
using namespace std::chrono_literals;

namespace {

class PulseDeviceCatalogTest : public rig::PulseRigTest {};

bool listed(const std::vector<CaptureSource>& sources, const std::string& name)
{
    for (const auto& source : sources)
        if (source.name == name)
            return true;
    return false;
}

} // namespace

TEST_F(PulseDeviceCatalogTest, listsTheVirtualMicrophoneByItsDescriptionAndNoMonitors)
{
    PulseDeviceCatalog catalog;
    auto sources = catalog.sources();

    ASSERT_TRUE(listed(sources, rig::micName));
    for (const auto& source : sources) {
        EXPECT_NE(source.id, 0u);
        EXPECT_EQ(source.id, captureSourceId(source.name));
        EXPECT_EQ(source.name.find(".monitor"), std::string::npos) << source.name;
        if (source.name == rig::micName) {
            EXPECT_EQ(source.description, rig::micDescription);
        }
    }
}

TEST_F(PulseDeviceCatalogTest, reportsASourceThatComesAndGoes)
{
    PulseDeviceCatalog catalog;
    std::atomic<int> changes{0};
    std::atomic<bool> sawProbe{false};
    // The handler may read the catalog again (the studio refreshes its list there).
    catalog.setChangeHandler([&] {
        sawProbe = listed(catalog.sources(), "tw_catalog_probe");
        ++changes;
    });

    std::string module = rig::loadExtraMicrophone("tw_catalog_probe", "Sonda");
    ASSERT_FALSE(module.empty());
    EXPECT_TRUE(rig::eventually([&] { return sawProbe.load(); }));
    EXPECT_TRUE(listed(catalog.sources(), "tw_catalog_probe"));

    int before = changes;
    rig::unloadModule(module);
    EXPECT_TRUE(rig::eventually([&] { return changes > before && !sawProbe; }));
    EXPECT_FALSE(listed(catalog.sources(), "tw_catalog_probe"));
}

TEST_F(PulseDeviceCatalogTest, aServerThatGoesAwayIsAChangeAndTheNextListConnectsAgain)
{
    rig::PrivateServer server;
    ASSERT_TRUE(server.started()) << server.startOutput();
    std::atomic<int> changes{0};
    std::optional<PulseDeviceCatalog> catalog;
    {
        rig::ServerOverride use(server.address());
        catalog.emplace();
        catalog->setChangeHandler([&] { ++changes; });
        EXPECT_TRUE(listed(catalog->sources(), rig::micName));
        // While the server is gone and no other answers, the list is empty.
        server.stop();
        ASSERT_TRUE(rig::eventually([&] { return changes > 0; }));
        EXPECT_TRUE(catalog->sources().empty());
    }
    // The shared rig answers the next time.
    EXPECT_TRUE(listed(catalog->sources(), rig::micName));
}
