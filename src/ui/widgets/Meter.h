#pragma once

#include <QElapsedTimer>
#include <QWidget>
#include <optional>

#include "ui/widgets/MeterBallistics.h"

namespace sonmere {

// A level as a bar from -60 to 0 dB full scale with its held peak, and what a limiter takes away from the
// right. It moves when it is told a level and has no timer of its own; it paints only when a pixel changes.
class Meter : public QWidget {
  Q_OBJECT

 public:
  explicit Meter(QWidget* parent = nullptr);

  // Nothing: not metered now.
  void setLevel(std::optional<double> levelDb, double gainReductionDb = 0);

  QSize sizeHint() const override { return {160, 10}; }
  QSize minimumSizeHint() const override { return {48, 8}; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  struct Pixels {
    int bar = 0;
    int peak = 0;
    int reduction = 0;
    bool operator==(const Pixels&) const = default;
  };
  Pixels pixels() const;
  int xOf(double db) const;

  MeterBallistics ballistics_;
  QElapsedTimer clock_;
  double gainReductionDb_ = 0;
  Pixels shown_;
};

}  // namespace sonmere
