#pragma once

#include <QWidget>
#include <vector>

#include "ui/widgets/RouteButton.h"

class QCheckBox;
class QLabel;
class QPushButton;
class QTableWidget;
class QVBoxLayout;

namespace sonmere {

class RecordingModel;

// One large button, the buses to take, and while recording the files with their times and sizes.
class RecordPage : public QWidget {
  Q_OBJECT

 public:
  explicit RecordPage(RecordingModel& model, QWidget* parent = nullptr);

  // Buses by name.
  void setBuses(const std::vector<RouteTarget>& buses);
  // Where files go, for the room that is left there.
  void setFolder(const QString& folder);

 signals:
  void renameWanted(int bus);

 private:
  void toggle();
  void refresh();
  void say(const QString& text, bool isRefusal);
  QString nameOf(int bus) const;
  QString roomText() const;

  RecordingModel& model_;
  QPushButton* button_;
  QLabel* time_;
  QLabel* room_;
  QLabel* note_;
  QVBoxLayout* choices_;
  QTableWidget* files_;
  struct Choice {
    int bus;
    QString name;
    QCheckBox* box;
  };
  std::vector<Choice> buses_;
  QString folder_;
};

}  // namespace sonmere
