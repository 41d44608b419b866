// The published fields of the Studio, named so that one signal can say which field was assigned,
// and the small wrapper that makes every assignment of such a field notify.
#pragma once

#include <cstdint>

#include <utility>

namespace tw {

enum class StudioField {
    // Project lifecycle.
    showWelcome,
    project,
    folder,
    lastSaved,
    message,
    busy,
    position,
    zoom,
    selection,
    // Undo and commands.
    undoStack,
    redoStack,
    canPaste,
    voiceTrimPreview,
    // Timeline and window views.
    selectedClip,
    draggedClip,
    clipDragTime,
    hoveredControl,
    showMusicEditor,
    // Peak caches.
    voicePeaks,
    voiceWaveforms,
    musicPeaks,
    musicDuration,
    // Recording.
    countdown,
    recording,
    recordingPaused,
    // Input devices.
    devices,
    selectedDevice,
    // Clock and meters.
    meter,
    vuLevels,
    peakWarning,
    spectrumBars,
    // Transport.
    playing,
    pauseEngaged,
    shuttleDirection,
    // Export.
    exportProgress,
    // Loudness meter.
    loudness,
};

// Receives one call per assignment of a published field. Main thread.
class FieldNotifier {
public:
    virtual void fieldAssigned(StudioField field) = 0;

protected:
    ~FieldNotifier() = default;
};

// A published field: reading is free, and every assignment (also of an equal value) or in-place
// change notifies the owner once. Main thread only, like the Studio that holds it.
template <class T> class Published {
public:
    Published(FieldNotifier* owner, StudioField field, T initial = T{})
        : owner_(owner)
        , field_(field)
        , value_(std::move(initial))
    {
    }
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;

    const T& operator()() const { return value_; }
    const T& get() const { return value_; }
    const T* operator->() const { return &value_; }
    // Counts the assignments and changes so far: an unchanged count means an unchanged value.
    std::uint64_t revision() const { return revision_; }

    Published& operator=(T value)
    {
        value_ = std::move(value);
        ++revision_;
        owner_->fieldAssigned(field_);
        return *this;
    }

    // Changes the value in place (no copy of a large document) and notifies once.
    template <class Change> void mutate(Change&& change)
    {
        change(value_);
        ++revision_;
        owner_->fieldAssigned(field_);
    }

private:
    FieldNotifier* owner_;
    StudioField field_;
    T value_;
    std::uint64_t revision_ = 0;
};

} // namespace tw
