#pragma once

#include <QFrame>
#include <map>

class QLabel;
class QPushButton;
class QVBoxLayout;

namespace sonmere {

class AppsModel;
class GainSlider;
class RecordingModel;

// What the tray's icon opens: the apps that play, each with its volume and mute, the master volume, the
// record button, and the way to the window.
class Popover : public QFrame {
  Q_OBJECT

 public:
  Popover(AppsModel& apps, RecordingModel& recording, QWidget* parent = nullptr);

  // Beside the place, within the screen.
  void showAt(QPoint place);

 signals:
  void windowWanted();
  // The record button; what is recorded then is what was recorded last.
  void recordWanted();

 private:
  struct Row {
    QWidget* whole;
    QLabel* name;
    GainSlider* slider;
    class QToolButton* mute;
  };
  Row makeRow(const QString& id);
  void refresh();
  void refreshRecording();

  AppsModel& apps_;
  RecordingModel& recording_;
  QVBoxLayout* list_;
  QLabel* empty_;
  GainSlider* master_;
  QPushButton* record_;
  std::map<QString, Row> rows_;
};

}  // namespace sonmere
