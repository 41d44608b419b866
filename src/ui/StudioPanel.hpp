// The framed dark panel the side panels sit in: a rounded plate with a thin light border, its
// content padded inside, and a screw head near each corner.
#pragma once

#include <QWidget>

#include <array>

class QPainter;

namespace tw {

class StudioPanel final : public QWidget {
    Q_OBJECT

public:
    static constexpr double cornerRadius = 12;
    static constexpr double screwSize = 4;
    static constexpr double screwInset = 7;
    static constexpr int padding = 14;

    // Frames content (which it takes over) inside the panel.
    explicit StudioPanel(QWidget* content, QWidget* parent = nullptr);

    QWidget* content() const { return content_; }
    // The centres of the four screw heads in a panel of the given size.
    static std::array<QPointF, 4> screwCentres(QSizeF size);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void paintPlate(QPainter& painter) const;

    QWidget* content_;
};

} // namespace tw
