#pragma once

#include <QMainWindow>

#include "ui/widgets/RouteButton.h"

class QStackedWidget;

namespace sonmere {

class AppsPage;
class Banner;
class InputPage;
class QuitFlow;
class Models;
class RecordPage;
class SideBar;

// The side bar with its pages, and the banner when the service is gone or of another version.
class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit MainWindow(Models& models, QWidget* parent = nullptr);

  int pageCount() const;
  // Over the others, also when it is small or hidden.
  void comeForward();
  // Shows the sheet of this name once; what is unknown is passed over.
  void greet(const QString& sheet);
  // As files are named after it.
  QString pageName(int page) const;
  void showPage(int page);

 signals:
  // The banner's button: the service is to be started.
  void serviceWanted();
  void testSoundWanted();
  // Sonmere as a whole has ended.
  void quitDone();

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  void addPage(const QString& icon, const QString& name, QWidget* page);
  void refreshState();
  void refreshMeters();
  void refreshBuses();
  void renameBus(int bus);
  void buildMenu();

  Models& models_;
  SideBar* sideBar_;
  QStackedWidget* pages_;
  QStringList names_;
  Banner* banner_;
  AppsPage* apps_;
  InputPage* input_;
  RecordPage* record_;
  QuitFlow* quit_ = nullptr;
};

}  // namespace sonmere
