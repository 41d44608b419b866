// The pair of VU meters of the studio (voice and music) with the peak lamp between them.
#pragma once

#include <QWidget>

namespace tw {

class AnalogVU;
class Studio;
enum class StudioField;

// The red "PEAK" lamp: lit while a heard source comes within 1 dB of full scale.
class PeakLamp final : public QWidget {
    Q_OBJECT

public:
    explicit PeakLamp(QWidget* parent = nullptr);
    bool lit() const { return lit_; }
    void setLit(bool lit);
    QSize sizeHint() const override { return {40, 40}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool lit_ = false;
};

class StudioVUMeters final : public QWidget {
    Q_OBJECT

public:
    explicit StudioVUMeters(Studio& studio, QWidget* parent = nullptr);

    AnalogVU& voice() const { return *voice_; }
    AnalogVU& music() const { return *music_; }
    PeakLamp& peak() const { return *peak_; }

private:
    void fieldChanged(StudioField field);
    void readLevels();

    Studio& studio_;
    AnalogVU* voice_;
    AnalogVU* music_;
    PeakLamp* peak_;
};

} // namespace tw
