#pragma once

#include <QGroupBox>

class QComboBox;
class QLabel;
class QPushButton;

namespace sonmere {

class NoteLabel;
class StatusModel;
class SystemAudioModel;

// System audio: its switch, the output that it is paired with, how it fares, and its reset.
class SystemAudioCard : public QGroupBox {
  Q_OBJECT

 public:
  SystemAudioCard(SystemAudioModel& model, StatusModel& status, QWidget* parent = nullptr);

 private:
  void refresh();
  void refreshDevices();
  QString stateText() const;

  SystemAudioModel& model_;
  StatusModel& status_;
  QPushButton* enabled_;
  QLabel* state_;
  QComboBox* device_;
  QPushButton* reset_;
  NoteLabel* problem_;
  NoteLabel* note_;
};

}  // namespace sonmere
