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
struct AppState;

// A row an app, the playing ones first; the master strip below. Hidden rows are behind a filter, Ctrl+F
// searches.
class AppsPage : public QWidget {
  Q_OBJECT

 public:
  explicit AppsPage(AppsModel& model, QWidget* parent = nullptr);

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

  AppsModel& model_;
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
