#pragma once

#include <QFrame>

class QComboBox;
class QLabel;
class QToolButton;

namespace sonmere {

class MonitorModel;
class NoteLabel;

// The monitor as a whole: its switch, the device that it plays on, and whether the user hears the own voice.
class MonitorStrip : public QFrame {
  Q_OBJECT

 public:
  explicit MonitorStrip(MonitorModel& model, QWidget* parent = nullptr);

 private:
  void refresh();
  void refreshDevices();
  void say(const QString& text, bool isRefusal);

  MonitorModel& model_;
  QToolButton* enabled_;
  QComboBox* device_;
  QToolButton* voice_;
  NoteLabel* note_;
  bool showsError_ = false;
};

}  // namespace sonmere
