// Drawing of one timeline lane: background, clips with their peaks and headers, the music region
// with its fade envelope, grips, handles, selection and play head. Only the exposed part is
// drawn, so a lane thousands of screens wide costs what its visible strip costs. Main thread.
#pragma once

#include "ui/LaneScene.hpp"

#include <QColor>
#include <QLine>
#include <QPixmap>

#include <vector>

class QPainter;

namespace tw {

namespace laneColour {
const QColor voice(10, 132, 255);
const QColor music(191, 90, 242);
const QColor playhead(255, 69, 58);
} // namespace laneColour

// The symbols a lane draws, made once per lane rather than on every paint.
struct LaneArt {
    QPixmap headerIcon;
    QPixmap playheadSymbol;
    static LaneArt make();
};

// One vertical line per pixel column of [firstColumn, endColumn) for a window of an envelope:
// the column's loudest value, scaled to halfHeight around centreY. sourceStart is the source
// second shown at timelineStart.
void appendPeakLines(std::vector<QLine>& lines, const std::vector<float>& peaks, double sourceStart,
                     double timelineStart, double zoom, int firstColumn, int endColumn,
                     double centreY, double halfHeight);

// Draws the part exposed of a lane width points wide; the empty-lane text is centred in the
// first viewportWidth points.
void paintLane(QPainter& painter, const LaneScene& scene, const LaneArt& art, QRectF exposed,
               double width, double viewportWidth);

} // namespace tw
