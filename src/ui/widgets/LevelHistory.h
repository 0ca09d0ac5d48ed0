#pragma once

#include <QElapsedTimer>
#include <QWidget>
#include <deque>

namespace sonmere {

// How loud a running recording was, as a waveform that grows at its right end. It has no timer of its own.
class LevelHistory : public QWidget {
  Q_OBJECT

 public:
  static constexpr int kColumnMilliseconds = 100;

  explicit LevelHistory(QWidget* parent = nullptr);

  // The peak of what came since, dB full scale.
  void add(double peakDb);
  void clear();

  QSize sizeHint() const override { return {200, 32}; }
  QSize minimumSizeHint() const override { return {60, 24}; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QElapsedTimer clock_;
  std::deque<float> columns_;  // heights, 0 to 1, the latest last
};

}  // namespace sonmere
