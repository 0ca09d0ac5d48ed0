#pragma once

#include <QWidget>
#include <map>

#include "ui/widgets/RouteButton.h"

class QLabel;
class QLineEdit;
class QToolButton;
class QVBoxLayout;

namespace sonmere {

class AppRow;
class AppsModel;
class EqualiserPanel;
class MasterStrip;
class MonitorModel;
struct AppState;

// A row an app, the playing ones first; the strips of the per-app volume and of the monitor below. Hidden
// rows are behind a filter, Ctrl+F searches.
class AppsPage : public QWidget {
  Q_OBJECT

 public:
  AppsPage(AppsModel& model, MonitorModel& monitor, QWidget* parent = nullptr);

  // The names of the buses that apps can be routed to, as the user calls them.
  void setTargets(const std::vector<RouteTarget>& targets);

 signals:
  // The empty page's button.
  void testSoundWanted();
  // The chain of plug-ins of this app is to be shown.
  void pluginsWanted(const QString& id, const QString& name);

 private:
  void buildTop();
  void buildList();
  void refresh();
  AppRow* rowFor(const QString& id);
  void connectRow(AppRow* row);
  bool isShown(const AppState& app) const;
  void typeVolume(const QString& id, const QString& text);
  void connectSpectrum(EqualiserPanel* panel, const QString& of);
  void lookAt(const QString& of, bool begins);
  void refreshMonitored();

  AppsModel& model_;
  MonitorModel& monitor_;
  QLineEdit* search_;
  QToolButton* hiddenToo_;
  QVBoxLayout* list_;
  QWidget* quietLine_;
  QWidget* empty_;
  QLabel* emptyText_;
  MasterStrip* master_;
  std::vector<RouteTarget> targets_;
  std::map<QString, AppRow*> rows_;
  QStringList lookedAt_;  // equalisers in view, the latest last: its spectrum is shown
};

}  // namespace sonmere
