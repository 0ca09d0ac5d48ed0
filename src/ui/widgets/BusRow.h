#pragma once

#include <QFrame>

class QCheckBox;
class QLabel;
class QToolButton;

namespace sonmere {

class LevelHistory;
struct RecordingState;

// A bus that can be recorded: whether it is to be, what plays into it, and while it is recorded how it goes.
class BusRow : public QFrame {
  Q_OBJECT

 public:
  BusRow(int bus, bool canBeRenamed, QWidget* parent = nullptr);

  int bus() const { return bus_; }
  bool isChosen() const;
  void choose(bool chosen);
  void showName(const QString& name, const QString& apps);
  // Whether the user wants to hear it on the monitor.
  void showMonitored(bool monitored);
  // Null: it is not recorded. Then it can be chosen, unless others are.
  void showRecording(const RecordingState* recording, bool othersRun);

 signals:
  void renameWanted(int bus);
  // The chain of plug-ins is to be shown.
  void pluginsWanted(int bus);
  void monitorChosen(int bus, bool monitored);

 private:
  const int bus_;
  QCheckBox* box_;
  QToolButton* rename_;
  QToolButton* plugins_;
  QToolButton* monitor_;
  QLabel* apps_;
  QLabel* facts_;
  LevelHistory* history_;
  bool isRecorded_ = false;
};

}  // namespace sonmere
