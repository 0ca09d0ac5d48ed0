#pragma once

#include <QGroupBox>

class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;

namespace sonmere {

class CombinedInputModel;
class NoteLabel;
class StatusModel;

// Several inputs as one: which, by what name, and which channels each has there.
class CombinedInputCard : public QGroupBox {
  Q_OBJECT

 public:
  CombinedInputCard(CombinedInputModel& model, StatusModel& status, QWidget* parent = nullptr);

 private:
  void refresh();
  void refreshDevices();
  void combine();
  QString stateText() const;

  CombinedInputModel& model_;
  StatusModel& status_;
  QLabel* state_;
  QListWidget* devices_;
  QLineEdit* name_;
  QPushButton* separate_;
  NoteLabel* problem_;
  NoteLabel* note_;
};

}  // namespace sonmere
