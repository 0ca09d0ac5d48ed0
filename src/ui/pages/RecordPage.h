#pragma once

#include <QWidget>
#include <vector>

class QComboBox;
class QLabel;
class QPushButton;
class QVBoxLayout;

namespace sonmere {

class BusesModel;
class BusRow;
class MonitorModel;
class NoteLabel;
class RecordingModel;

// One large button, the buses to take with what plays into them, and while recording how each file comes
// along.
class RecordPage : public QWidget {
  Q_OBJECT

 public:
  RecordPage(RecordingModel& model, BusesModel& buses, MonitorModel& monitor, QWidget* parent = nullptr);

 signals:
  void renameWanted(int bus);
  void pluginsWanted(int bus);

 private:
  void buildRows();
  void toggle();
  void refresh();
  void refreshBuses();
  void say(const QString& text, bool isRefusal);
  QString roomText() const;
  QString layoutText() const;
  void refreshLayout();

  RecordingModel& model_;
  BusesModel& buses_;
  MonitorModel& monitor_;
  QPushButton* button_;
  QLabel* time_;
  QComboBox* layout_;
  QLabel* layoutText_;
  QLabel* room_;
  NoteLabel* note_;
  QLabel* notices_;
  QVBoxLayout* list_;
  std::vector<BusRow*> rows_;
};

}  // namespace sonmere
