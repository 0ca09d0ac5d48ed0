#pragma once

#include <QGroupBox>

class QLabel;
class QPushButton;

namespace sonmere {

class DAWModel;
class NoteLabel;

// The device of all Tracks: its switch, whether it is there, and its reset.
class DAWCard : public QGroupBox {
  Q_OBJECT

 public:
  explicit DAWCard(DAWModel& model, QWidget* parent = nullptr);

 private:
  void refresh();
  QString stateText() const;

  DAWModel& model_;
  QPushButton* enabled_;
  QLabel* state_;
  QPushButton* reset_;
  NoteLabel* problem_;
  NoteLabel* note_;
};

}  // namespace sonmere
