#pragma once

#include <QWidget>
#include <vector>

#include "dsp/AppEQSettings.h"

namespace sonmere {

// The equaliser's curve from 10 Hz to 24 kHz with a handle for each section, which are dragged: the filters
// along the axis, the bell anywhere. For the pointer only; EqualiserPanel has the same values for the
// keyboard.
class EqualiserCurve : public QWidget {
  Q_OBJECT

 public:
  explicit EqualiserCurve(QWidget* parent = nullptr);

  void showSettings(const AppEQSettings& settings);
  const AppEQSettings& settings() const { return settings_; }
  // Levels in dB of bands that divide the curve's axis evenly, shown behind it; none: nothing is shown.
  void showSpectrum(const std::vector<float>& bandsDb);

  QSize sizeHint() const override { return {420, 160}; }
  QSize minimumSizeHint() const override { return {220, 120}; }

 signals:
  void edited(const AppEQSettings& settings);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;

 private:
  enum class Handle { none, highPass, bell, lowPass };
  double xOf(double hertz) const;
  double hertzAt(double x) const;
  double yOf(double decibels) const;
  double decibelsAt(double y) const;
  QPointF placeOf(Handle handle) const;
  Handle handleAt(QPointF place) const;
  void paintGrid(QPainter& painter) const;
  void paintCurve(QPainter& painter) const;
  void paintSpectrum(QPainter& painter) const;

  AppEQSettings settings_;
  Handle dragged_ = Handle::none;
  std::vector<float> spectrum_;
};

}  // namespace sonmere
