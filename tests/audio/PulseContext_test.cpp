// The connection the catalog and the streams share: what each of them does when the server goes
// away, and that the next use connects again.
#include "audio/PulseContext.hpp"

#include "audio/PulseAudioInput.hpp"
#include "audio/PulseAudioOutput.hpp"
#include "audio/PulseDeviceCatalog.hpp"

#include "PulseRig.hpp"
#include "support/CapturedAudio.hpp"

#include <algorithm>
#include <atomic>

using namespace tw;

namespace {

class PulseContextTest : public rig::PulseRigTest {};

bool listsTheMicrophone(PulseDeviceCatalog& catalog)
{
    return std::ranges::any_of(catalog.sources(),
                               [](const CaptureSource& s) { return s.name == rig::micName; });
}

} // namespace

TEST_F(PulseContextTest, aServerThatGoesAwayIsAChangeForEveryClientAndTheNextUseConnectsAgain)
{
    // A second private server of its own, so that stopping it leaves the shared rig alone.
    rig::PrivateServer server;
    ASSERT_TRUE(server.started()) << server.startOutput();
    PulseAudioInput input;
    PulseAudioOutput output;
    std::optional<PulseDeviceCatalog> catalog;
    test::Capture capture;
    std::atomic<std::int64_t> rendered{0};
    std::atomic<int> inputChanges{0}, outputChanges{0}, catalogChanges{0};
    std::atomic<bool> runningInHandler{false};
    input.setCaptureCallback(capture.callback());
    input.setConfigurationChangeHandler([&] {
        runningInHandler = runningInHandler || input.isRunning();
        ++inputChanges;
    });
    output.setRenderCallback([&](float* interleaved, int frames) {
        std::fill_n(interleaved, 2 * frames, 0.0f);
        rendered += frames;
    });
    output.setConfigurationChangeHandler([&] {
        runningInHandler = runningInHandler || output.isRunning();
        ++outputChanges;
    });
    {
        rig::ServerOverride use(server.address());
        catalog.emplace();
        catalog->setChangeHandler([&] { ++catalogChanges; });
        EXPECT_TRUE(listsTheMicrophone(*catalog));
        auto format = input.open(captureSourceId(rig::micName), 4096);
        ASSERT_TRUE(format.ok()) << format.error().description;
        capture.channels = format.value().channels;
        ASSERT_TRUE(output.open(StreamFormat{}).ok());
    }
    ASSERT_TRUE(input.start().ok());
    ASSERT_TRUE(output.start().ok());
    ASSERT_TRUE(rig::eventually([&] { return capture.frames > 0 && rendered > 0; }));
    EXPECT_EQ(inputChanges + outputChanges, 0);

    server.stop();
    ASSERT_TRUE(rig::eventually(
        [&] { return inputChanges > 0 && outputChanges > 0 && catalogChanges > 0; }));
    EXPECT_FALSE(runningInHandler);
    EXPECT_FALSE(input.isRunning());
    EXPECT_FALSE(output.isRunning());
    EXPECT_FALSE(output.start().ok());
    input.stop();
    output.close();
    {
        // While no server answers, the list is empty and nothing opens, without hanging.
        rig::ServerOverride use(server.address());
        EXPECT_TRUE(catalog->sources().empty());
        auto none = input.open(0, 4096);
        ASSERT_FALSE(none.ok());
        EXPECT_EQ(none.error().description, "No se pudo activar la entrada seleccionada.");
    }

    // The shared rig answers the next time: new streams are made there.
    EXPECT_TRUE(listsTheMicrophone(*catalog));
    ASSERT_TRUE(input.open(captureSourceId(rig::micName), 4096).ok());
    EXPECT_TRUE(input.start().ok());
    ASSERT_TRUE(output.open(StreamFormat{}).ok());
    EXPECT_TRUE(output.start().ok());
    input.stop();
    output.close();
}
