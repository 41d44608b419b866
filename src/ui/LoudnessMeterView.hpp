// The loudness meter beside the counter, over the VU meters: the short-term loudness (last 3 s) of
// what is playing and the integrated loudness since playback started, in LUFS, with a bar of the
// short-term level against the project's export target. It redraws only when a shown figure changes
// (the Studio publishes them a tenth at a time), so an idle studio draws nothing new.
#pragma once

#include <QString>
#include <QWidget>

#include <optional>

namespace tw {

class Studio;
enum class StudioField;

class LoudnessMeterView final : public QWidget {
    Q_OBJECT

public:
    explicit LoudnessMeterView(Studio& studio, QWidget* parent = nullptr);

    // The figures as shown: "−16,2", or "—" with nothing measured.
    QString shortTermText() const;
    QString integratedText() const;
    int paints() const { return paints_; }

    QSize sizeHint() const override { return {128, 62}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void fieldChanged(StudioField field);

    Studio& studio_;
    std::optional<double> target_; // the LUFS the export aims at, shown on the bar
    int paints_ = 0;
};

} // namespace tw
