// The small input level bar of the control row: min(meter, 1) of a full bar, red from 0.99 up and
// green below, shown only while a take records (fully transparent otherwise).
#pragma once

#include <QWidget>

namespace tw {

class InputLevelBar final : public QWidget {
    Q_OBJECT

public:
    static constexpr float redFrom = 0.99f;

    explicit InputLevelBar(QWidget* parent = nullptr);

    // Repaints only when what is drawn changes. Main thread.
    void display(float meter, bool recording);

    float value() const { return value_; }
    bool red() const { return red_; }
    double opacity() const { return visible_ ? 1.0 : 0.0; }

    QSize sizeHint() const override { return {55, 8}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    float value_ = 0;
    bool red_ = false;
    bool visible_ = false;
};

} // namespace tw
