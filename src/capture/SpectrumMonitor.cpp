#include "capture/SpectrumMonitor.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace tw {

namespace {

constexpr double freshFor = 0.4;     // bands and levels
constexpr double clipShownFor = 1.0; // near-clip warning
constexpr double never = -std::numeric_limits<double>::infinity();

// One source's latest result. The sequence counter is odd while a writer is inside; readers
// copy the fields and accept the copy only if the counter was even and unchanged around it.
// Every field is an atomic (relaxed) so an overlapping read is a retry, not a data race.
struct Slot {
    enum State : int { free, claiming, ready };
    std::atomic<int> state{free};
    char name[SpectrumMonitor::maxNameLength + 1] = {};
    std::size_t nameLength = 0;

    std::atomic<std::uint32_t> sequence{0};
    std::array<std::atomic<float>, 24> bands{};
    std::atomic<float> level{0.0f};
    std::atomic<double> storedAt{never};
    std::atomic<double> clippedAt{never};

    bool named(const std::string& source) const
    {
        return nameLength == source.size() && std::memcmp(name, source.data(), nameLength) == 0;
    }
};

struct Snapshot {
    SpectrumBands bands{};
    float level = 0.0f;
    double storedAt = never;
    double clippedAt = never;
};

} // namespace

struct SpectrumMonitor::Impl {
    std::atomic<const Clock*> clock;
    std::array<Slot, maxSources> slots;

    explicit Impl(const Clock& c) : clock(&c) {}

    Slot* find(const std::string& source)
    {
        for (Slot& slot : slots) {
            if (slot.state.load(std::memory_order_acquire) == Slot::ready && slot.named(source))
                return &slot;
        }
        return nullptr;
    }

    // Audio thread: takes a free slot for a new source without waiting.
    Slot* claim(const std::string& source)
    {
        if (source.size() > static_cast<std::size_t>(maxNameLength))
            return nullptr;
        for (Slot& slot : slots) {
            int expected = Slot::free;
            if (slot.state.compare_exchange_strong(expected, Slot::claiming,
                                                   std::memory_order_acq_rel)) {
                std::memcpy(slot.name, source.data(), source.size());
                slot.nameLength = source.size();
                slot.state.store(Slot::ready, std::memory_order_release);
                return &slot;
            }
        }
        return nullptr;
    }

    // The newest consistent result of source; two writers racing to claim the same new name can
    // leave it in two slots, and then the later one counts.
    Snapshot latest(const std::string& source) const
    {
        Snapshot best;
        double clippedAt = never;
        for (const Slot& slot : slots) {
            if (slot.state.load(std::memory_order_acquire) != Slot::ready || !slot.named(source))
                continue;
            const Snapshot copy = readSlot(slot);
            clippedAt = std::max(clippedAt, copy.clippedAt);
            if (copy.storedAt >= best.storedAt)
                best = copy;
        }
        best.clippedAt = clippedAt;
        return best;
    }

    static Snapshot readSlot(const Slot& slot)
    {
        Snapshot copy;
        for (;;) {
            const std::uint32_t before = slot.sequence.load(std::memory_order_acquire);
            if (before & 1u)
                continue; // a write is in progress
            for (std::size_t i = 0; i < copy.bands.size(); ++i)
                copy.bands[i] = slot.bands[i].load(std::memory_order_relaxed);
            copy.level = slot.level.load(std::memory_order_relaxed);
            copy.storedAt = slot.storedAt.load(std::memory_order_relaxed);
            copy.clippedAt = slot.clippedAt.load(std::memory_order_relaxed);
            std::atomic_thread_fence(std::memory_order_acquire);
            if (slot.sequence.load(std::memory_order_relaxed) == before)
                return copy;
        }
    }
};

SpectrumMonitor::SpectrumMonitor(const Clock& clock) : impl_(new Impl(clock))
{
}

SpectrumMonitor::~SpectrumMonitor()
{
    delete impl_;
}

SpectrumMonitor& SpectrumMonitor::shared()
{
    // Never destroyed: audio threads may still store while the program exits.
    static SpectrumMonitor* instance = new SpectrumMonitor();
    return *instance;
}

void SpectrumMonitor::setClock(const Clock& clock)
{
    impl_->clock.store(&clock, std::memory_order_release);
}

void SpectrumMonitor::store(const std::string& source, const SpectrumBands& bands, float level,
                            bool nearClip)
{
    Slot* slot = impl_->find(source);
    if (!slot)
        slot = impl_->claim(source);
    if (!slot)
        return;
    const double now = impl_->clock.load(std::memory_order_acquire)->now();
    std::uint32_t sequence = slot->sequence.load(std::memory_order_relaxed);
    // Another writer of the same source is inside: drop this result rather than wait.
    if ((sequence & 1u) ||
        !slot->sequence.compare_exchange_strong(sequence, sequence + 1, std::memory_order_acquire,
                                                std::memory_order_relaxed))
        return;
    std::atomic_thread_fence(std::memory_order_release);
    for (std::size_t i = 0; i < bands.size(); ++i)
        slot->bands[i].store(bands[i], std::memory_order_relaxed);
    slot->level.store(level, std::memory_order_relaxed);
    slot->storedAt.store(now, std::memory_order_relaxed);
    if (nearClip)
        slot->clippedAt.store(now, std::memory_order_relaxed);
    slot->sequence.store(sequence + 2, std::memory_order_release);
}

float SpectrumMonitor::level(const std::string& source) const
{
    const Snapshot snapshot = impl_->latest(source);
    const double now = impl_->clock.load(std::memory_order_acquire)->now();
    return now - snapshot.storedAt < freshFor ? snapshot.level : 0.0f;
}

bool SpectrumMonitor::nearClip(const std::string& source) const
{
    const Snapshot snapshot = impl_->latest(source);
    const double now = impl_->clock.load(std::memory_order_acquire)->now();
    return now - snapshot.clippedAt < clipShownFor;
}

SpectrumBands SpectrumMonitor::read(const std::map<std::string, float>& weights) const
{
    std::array<float, 24> sums{};
    const double now = impl_->clock.load(std::memory_order_acquire)->now();
    for (const auto& [source, weight] : weights) {
        if (!(weight > 0.0f))
            continue;
        const Snapshot snapshot = impl_->latest(source);
        if (!(now - snapshot.storedAt < freshFor))
            continue;
        for (std::size_t i = 0; i < sums.size(); ++i)
            sums[i] += weight * snapshot.bands[i];
    }
    // -70 dB and below show as 0, 0 dB and above as 1.
    SpectrumBands display{};
    for (std::size_t i = 0; i < sums.size(); ++i) {
        const float decibels = 20.0f * std::log10(std::max(sums[i], 0.000001f));
        display[i] = std::clamp((decibels + 70.0f) / 70.0f, 0.0f, 1.0f);
    }
    return display;
}

} // namespace tw
