// Counts the paint events of every widget while installed on the application.
#pragma once

#include <QEvent>
#include <QObject>

namespace tw {

class PaintCounter final : public QObject {
public:
    int paints = 0;
    bool eventFilter(QObject*, QEvent* event) override
    {
        paints += event->type() == QEvent::Paint;
        return false;
    }
};

} // namespace tw
