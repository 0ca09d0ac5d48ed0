#pragma once

#include <QWidget>
#include <vector>

class QDoubleSpinBox;
class QLabel;

namespace sonmere {

class EditedProject;

// The edit of the chosen track as numbers, in seconds, for the keyboard.
class RangeFields : public QWidget {
  Q_OBJECT

 public:
  explicit RangeFields(EditedProject& project, QWidget* parent = nullptr);

  void showTrack(std::size_t track);

 private:
  void addField(const QString& name, void (RangeFields::*set)(double));
  void refresh();
  void setStart(double seconds);
  void setEnd(double seconds);
  void setFadeIn(double seconds);
  void setFadeOut(double seconds);
  void setPlayhead(double seconds);
  std::int64_t frames(double seconds) const;

  EditedProject& project_;
  std::size_t track_ = 0;
  std::vector<QDoubleSpinBox*> fields_;  // playhead, start, end, fade in, fade out
  QLabel* length_;
};

}  // namespace sonmere
