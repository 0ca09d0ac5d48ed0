#pragma once

#include <QFrame>

class QDoubleSpinBox;
class QLabel;
class QToolButton;

namespace sonmere {

class EditedProject;

// Beside a lane: the track's name, its gain, and in a session solo and mute.
class TrackHeader : public QFrame {
  Q_OBJECT

 public:
  TrackHeader(EditedProject& project, std::size_t track, QWidget* parent = nullptr);

  void refresh(bool isChosen);

 signals:
  void chosen(std::size_t track);

 protected:
  void mousePressEvent(QMouseEvent* event) override;

 private:
  EditedProject& project_;
  const std::size_t track_;
  QLabel* name_;
  QToolButton* mute_;
  QToolButton* solo_;
  QDoubleSpinBox* gain_;
};

}  // namespace sonmere
