#pragma once

#include <QWidget>
#include <memory>
#include <optional>
#include <vector>

#include "base/SettingForm.h"
#include "ui/editor/TimelineScale.h"

class QNativeGestureEvent;

namespace sonmere {

class EditedProject;
class LaneWave;
class Workbench;
struct TrimRange;

// The lanes of a project over a ruler of time: the wheel zooms around the pointer, edges trim, corners fade,
// a line sets the gain. For the pointer; RangeFields has the same values for the keyboard.
class Timeline : public QWidget {
  Q_OBJECT

 public:
  static constexpr int kRuler = 24;
  static constexpr int kLeastLane = 48;

  Timeline(EditedProject& project, Workbench& workbench, QWidget* parent = nullptr);
  ~Timeline() override;

  std::size_t chosenTrack() const { return chosen_; }
  void chooseTrack(std::size_t track);
  // Of every lane, pixels.
  int laneHeight() const;
  QSize minimumSizeHint() const override;

 signals:
  // A key that is not the timeline's own; what lies between it and the editor would scroll.
  void keyPressed(QKeyEvent* event);
  void trackChosen(std::size_t track);

 protected:
  bool event(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  enum class Grip { none, playhead, start, end, fadeIn, fadeOut, gain };
  struct Hold {
    Grip grip = Grip::none;
    std::size_t track = 0;
  };
  void takeTracks();
  void describe();
  TimelineScale scale() const;
  QRectF laneRect(std::size_t track) const;
  std::optional<std::size_t> trackAt(double y) const;
  Hold holdAt(QPointF place) const;
  void drag(QPointF place, SettingForm form);
  std::int64_t snapped(std::int64_t frame) const;
  void zoomAround(double x, double factor);
  bool pinch(const QNativeGestureEvent& gesture);
  void paintRuler(QPainter& painter, const TimelineScale& scale) const;
  void paintLane(QPainter& painter, const TimelineScale& scale, std::size_t track);
  void paintWave(QPainter& painter, const TimelineScale& scale, std::size_t track, const QRectF& lane);
  void paintMarks(QPainter& painter, const TimelineScale& scale, std::size_t track) const;
  void paintEdit(QPainter& painter, const TimelineScale& scale, std::size_t track, const QRectF& lane) const;

  EditedProject& project_;
  Workbench& workbench_;
  std::vector<std::unique_ptr<LaneWave>> waves_;
  std::size_t chosen_ = 0;
  Hold held_;
  std::optional<double> pinchScale_;  // while fingers are on the pad
};

}  // namespace sonmere
