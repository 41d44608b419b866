#include "audio/Player.hpp"

#include "audio/OfflineRenderer.hpp"
#include "audio/SimulatedAudioOutput.hpp"
#include "base/ManualScheduler.hpp"

#include "GraphSignals.hpp"

#include <gtest/gtest.h>

#include <random>
#include <thread>

namespace tw {

using namespace graphtest;

namespace {

// Pulls frames from the player in blocks of random sizes, letting the read-ahead catch up
// before each one, as a real-time output would.
std::vector<float> pull(Player& player, std::int64_t frames, unsigned seed = 1)
{
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> size(1, 2048);
    std::vector<float> out(static_cast<std::size_t>(frames * 2));
    for (std::int64_t done = 0; done < frames;) {
        const int count = static_cast<int>(std::min<std::int64_t>(size(random), frames - done));
        player.waitForReadAhead();
        player.render(out.data() + done * 2, count);
        done += count;
    }
    return out;
}

class PlayerTest : public ::testing::Test {
protected:
    // A player with these options holding the programme, with `mix` for its own if given.
    Player& open(Player::Options options = {}, const std::optional<AudioMix>& mix = {})
    {
        player.emplace(scheduler, options);
        EXPECT_TRUE(player->setItem(p.composition, mix.value_or(p.mix)));
        return *player;
    }
    // Seeks and runs the scheduler until the completion arrives.
    void seekAndWait(Player& to, double time)
    {
        bool finished = false;
        to.seek(seconds(time), [&](bool ok) { finished = ok; });
        to.waitForReadAhead();
        scheduler.advance(0.01);
        ASSERT_TRUE(finished);
    }

    ScratchFolder folder;
    ManualScheduler scheduler;
    // The shared programme in noise, quiet enough that the master stage leaves it untouched.
    const Programme p =
        makeProgramme(folder, noise(1, 48000 * 3, 21), noise(2, 44100 * 5, 22), 0.5f);
    // What the player must play of it.
    std::vector<float> offline(double from, double length) const
    {
        return renderBuffer(p.composition, p.mix, from, length);
    }
    std::optional<Player> player;
};

} // namespace

// A source that decodes too slowly is heard as counted silence, and playback recovers without
// skipping anything; then each seek is sample exact.
TEST_F(PlayerTest, slowDecodingIsCountedSilenceAndASeekIsSampleExactAndCompletesOnTheMainThread)
{
    std::atomic<bool> decoding{true};
    Player::Options options;
    options.readAheadSeconds = 0.5;
    options.readAheadGate = [&] { return decoding.load(); };
    Player& player = open(options);
    // An item whose file is gone fails with its description and the current one stays.
    writeCaf(folder / "gone.caf", std::vector<float>(4800, 0.1f), 48000, 1);
    const AudioAsset gone = loadAsset(folder / "gone.caf");
    std::filesystem::remove(folder / "gone.caf");
    Composition broken;
    ASSERT_TRUE(broken.addTrack(1)->insertTimeRange(gone, {}, seconds(0.1), {}));
    auto result = player.setItem(broken, AudioMix{});
    ASSERT_FALSE(result);
    EXPECT_NE(result.error().description.find("gone.caf"), std::string::npos);

    seekAndWait(player, 1.2);
    player.play();
    std::vector<float> heard = pull(player, 4800);

    decoding = false;
    // The render calls go on, each returning at once: first the rings drain, then silence.
    std::vector<float> block(2 * 1000);
    int silentCalls = 0;
    for (int call = 0; call < 100; ++call) {
        player.render(block.data(), 1000);
        if (peak(block, 0, 1000) == 0.0f)
            ++silentCalls;
        else
            heard.insert(heard.end(), block.begin(), block.end());
    }
    EXPECT_GT(silentCalls, 50);
    EXPECT_EQ(player.underruns(), silentCalls);
    EXPECT_EQ(player.currentTime(),
              seconds(1.2) + MediaTime{static_cast<std::int64_t>(heard.size() / 2)});

    decoding = true;
    const auto after = pull(player, 9600);
    heard.insert(heard.end(), after.begin(), after.end());
    EXPECT_EQ(player.underruns(), silentCalls) << "no more once the audio is back";
    // Nothing was skipped: what was heard, gaps left out, is the programme from 1.2 s on.
    EXPECT_EQ(heard, offline(1.2, static_cast<double>(heard.size() / 2) / 48000));
    EXPECT_EQ(player.rate(), 1.0f);

    const auto reference = offline(0, 5.5);
    // The last seek plays the whole programme; each is overtaken by the next before it lands.
    for (double at : {2.5, 1.5000208, 2.7499792, 4.04321, 0.0}) {
        std::vector<bool> outcomes;
        player.seek(seconds(5), [&](bool finished) { outcomes.push_back(finished); });
        player.seek(seconds(at), [&](bool finished) { outcomes.push_back(finished); });
        EXPECT_EQ(player.currentTime(), seconds(at));
        player.waitForReadAhead();
        EXPECT_TRUE(outcomes.empty()) << "completions come through the scheduler";
        scheduler.advance(0.01);
        ASSERT_EQ(outcomes, (std::vector<bool>{false, true}));
        const std::int64_t first = seconds(at).frameAt(48000);
        const auto live = pull(player, at == 0 ? 5.5 * 48000 : 24000, static_cast<unsigned>(first));
        for (std::size_t i = 0; i < live.size(); ++i)
            ASSERT_EQ(live[i], reference[static_cast<std::size_t>(first * 2) + i])
                << "after a seek to " << at << " s, sample " << i;
    }
    EXPECT_EQ(player.underruns(), silentCalls);
    EXPECT_EQ(player.currentTime(), seconds(5.5));
}

// The transport rebuilds the mix with new volumes and the same voice tap, read back from the
// player, and swaps it in while another thread renders.
TEST_F(PlayerTest, aMixSwapKeepsAPreparedTapRunningAndPreparesANewOneBeforeTheSwapSafely)
{
    auto voiceTap = std::make_shared<CountingTap>();
    auto musicTap = std::make_shared<CountingTap>();
    AudioMix mix = p.mix;
    mix.inputParameters[0].tap = voiceTap;
    mix.inputParameters[1].tap = musicTap;
    Player& player = open({}, mix);
    EXPECT_EQ(voiceTap->prepares.load(), 1);
    EXPECT_EQ(voiceTap->preparedFormat, (StreamFormat{48000, 2, SampleType::float32, true}));
    seekAndWait(player, 0.5);
    player.play();
    (void)pull(player, 9600);
    // Taps run ahead of what is heard by the master stage's look-ahead.
    const std::int64_t ahead = TruePeakLimiter(48000, 2).latency();
    const std::int64_t before = voiceTap->framesProcessed.load();
    EXPECT_EQ(before, 9600 + ahead);

    AudioMix rebuilt = player.currentAudioMix();
    rebuilt.inputParameters[0].volume = VolumeAutomation();
    rebuilt.inputParameters[0].volume.setVolume(0.1f, {});
    auto newMusicTap = std::make_shared<CountingTap>();
    rebuilt.inputParameters[1].tap = newMusicTap;
    player.setAudioMix(rebuilt);
    EXPECT_EQ(newMusicTap->prepares.load(), 1) << "prepared before the render thread sees it";
    EXPECT_EQ(newMusicTap->framesProcessed.load(), 0);
    (void)pull(player, 9600);
    EXPECT_EQ(voiceTap->framesProcessed.load(), before + 9600) << "and kept processing";
    EXPECT_EQ(newMusicTap->framesProcessed.load(), 9600);
    EXPECT_EQ(musicTap->framesProcessed.load(), 9600 + ahead) << "the old music tap is out";
    EXPECT_EQ(player.currentAudioMix().inputParameters[0].tap, voiceTap);

    // A tap dropped and attached again is still prepared: it carries on too.
    rebuilt.inputParameters[1].tap = musicTap;
    player.setAudioMix(rebuilt);
    (void)pull(player, 4800);
    EXPECT_EQ(musicTap->prepares.load(), 1);
    EXPECT_EQ(musicTap->framesProcessed.load(), 9600 + ahead + 4800);

    // Swaps and seeks from this thread, each landing while another thread renders.
    std::atomic<bool> stop{false};
    std::atomic<std::int64_t> renders{0};
    std::thread renderThread([&] {
        std::vector<float> block(2 * 256);
        for (; !stop; ++renders)
            player.render(block.data(), 256);
    });
    for (int i = 0; i < 300; ++i) {
        for (const std::int64_t rendered = renders.load(); renders.load() < rendered + 2;)
            std::this_thread::yield();
        if (i % 3 == 0)
            player.seek(seconds(i % 11 / 2.0));
        rebuilt.inputParameters[1].volume.setVolume(static_cast<float>(i % 10) / 10, {});
        player.setAudioMix(rebuilt);
        scheduler.advance(0.002);
    }
    stop = true;
    renderThread.join();
    EXPECT_EQ(voiceTap->prepares.load(), 1) << "never prepared twice";
}

// Through an output, the time heard (behind the render by the output's latency) is what the
// periodic observer reports on the scheduler's thread.
TEST_F(PlayerTest, throughAnOutputItStartsPausesFlushesAndClosesItAndReportsTheHeardTime)
{
    SimulatedAudioOutput output(512);
    output.setLatency(0.05);
    {
        auto opened = Player::open(output, scheduler);
        ASSERT_TRUE(opened) << opened.error().description;
        Player& player = *opened.value();
        EXPECT_EQ(output.format(), (StreamFormat{48000, 2, SampleType::float32, true}));
        EXPECT_FALSE(output.isRunning());
        ASSERT_TRUE(player.setItem(p.composition, p.mix));
        const int flushes = output.flushCount();
        seekAndWait(player, 1);
        EXPECT_EQ(output.flushCount(), flushes + 1) << "a seek drops what the output holds";
        std::vector<MediaTime> times;
        TaskHandle observer =
            player.addPeriodicTimeObserver(0.05, [&](MediaTime t) { times.push_back(t); });

        player.play();
        EXPECT_TRUE(output.isRunning());
        EXPECT_EQ(output.advance(4800), 4800);
        EXPECT_EQ(output.rendered(), offline(1, 0.1));
        EXPECT_EQ(player.currentTime(), seconds(1.05)) << "what is heard, behind the render";
        EXPECT_TRUE(times.empty());
        scheduler.advance(0.05);
        player.removeTimeObserver(observer);
        // Paused and played again before the output has played out: on from the stop frame.
        player.pause();
        player.play();
        output.clearRendered();
        EXPECT_EQ(output.advance(4800), 4800);
        EXPECT_EQ(output.rendered(), offline(1.1, 0.1));

        player.pause();
        EXPECT_EQ(player.rate(), 0.0f);
        EXPECT_EQ(player.currentTime(), seconds(1.2)) << "where the sound stops";
        output.clearRendered();
        EXPECT_EQ(output.advance(4800), 4800) << "the output plays out what it holds";
        EXPECT_EQ(peak(output.rendered(), 0, 4800), 0.0f);
        scheduler.advance(0.11);
        EXPECT_EQ(times, std::vector<MediaTime>{seconds(1.05)}) << "none once removed";
        EXPECT_FALSE(output.isRunning()) << "and is paused once it has";
        EXPECT_EQ(output.advance(4800), 0);
        const int drainedFlushes = output.flushCount();
        player.play();
        EXPECT_EQ(output.flushCount(), drainedFlushes + 1) << "the silence it held is dropped";
        player.waitForReadAhead();
        output.clearRendered();
        EXPECT_EQ(output.advance(4800), 4800);
        EXPECT_EQ(output.rendered(), offline(1.2, 0.1)) << "on from the stop frame exactly";
        EXPECT_EQ(player.underruns(), 0);
    }
    EXPECT_FALSE(output.isRunning()) << "closed with the player";
    EXPECT_EQ(output.advance(512), 0);

    output.failNext(Error{"System", 5, "No hay salida de audio."});
    auto failed = Player::open(output, scheduler);
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().description, "No hay salida de audio.");
}

} // namespace tw
