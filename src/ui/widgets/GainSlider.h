#pragma once

#include <QAbstractSlider>

#include "dsp/BoostTaperSlider.h"

namespace sonmere {

// A volume from silence to 100 %, and beyond it in a marked zone where boost is allowed. As a slider its
// value is in thousandths of the linear gain. Arrow keys and the wheel step by 1 dB, page keys by 6; Home or
// a double click goes to 0 dB, End to silence.
class GainSlider : public QAbstractSlider {
  Q_OBJECT

 public:
  explicit GainSlider(QWidget* parent = nullptr);

  // Linear; 4 with boost, 1 without.
  void setMaximumGain(float gain);
  float maximumGain() const { return taper_.maxValue; }
  // What the service says; tells nobody. While the user drags it is kept for the end of the drag.
  void showGain(float gain);
  float gain() const { return taper_.value; }

  QSize sizeHint() const override { return {200, 24}; }
  QSize minimumSizeHint() const override { return {64, 24}; }

 signals:
  // The user's wish, also while a drag is under way.
  void gainChosen(float gain);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void choose(float gain);
  void stepBy(double decibels);
  void set(float gain);
  double positionAt(double x) const;
  double xOf(float gain) const;

  BoostTaperSlider taper_;
  float told_ = 1;
  bool dragging_ = false;
  int wheelRest_ = 0;  // eighths of a degree
};

}  // namespace sonmere
