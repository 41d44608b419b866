// One pointer drag on a lane, from the press to the release: which control it began on, where,
// and whether it has moved far enough to count as a drag of that control. Main thread.
#pragma once

#include "ui/LaneScene.hpp"
#include "ui/WaveTrack.hpp"

#include <QPointF>

#include <cmath>

namespace tw {

struct WaveTrack::Gesture {
    LaneControl control;
    QPointF start;
    bool active = false;
    bool handlePicked = false; // which of two coinciding fade handles follows is settled

    // Points the pointer must travel before the control follows it. Seeks, selections and clip
    // bodies follow at once; headers and grips only beyond a click, so that a click on them
    // moves and trims nothing; fade handles after 10 points.
    double minimumDistance() const
    {
        switch (control.type) {
        case LaneControl::Type::background:
        case LaneControl::Type::playhead:
        case LaneControl::Type::clipBody:
            return 0;
        case LaneControl::Type::fade:
            return lane::fadeMinimumDistance;
        case LaneControl::Type::clipHeader:
        case LaneControl::Type::voiceGrip:
        case LaneControl::Type::musicGrip:
            break;
        }
        return lane::clickDistance;
    }
    bool reached(QPointF moved) const
    {
        const double distance = std::hypot(moved.x(), moved.y());
        if (control.type == LaneControl::Type::fade)
            return distance >= minimumDistance();
        return distance > minimumDistance();
    }
};

} // namespace tw
