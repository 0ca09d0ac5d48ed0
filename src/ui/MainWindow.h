#pragma once

#include <QMainWindow>

#include "ui/widgets/RouteButton.h"

class QStackedWidget;

namespace sonmere {

class AppsPage;
class Banner;
class GuidePage;
class InputPage;
class QuitFlow;
class LibraryStack;
class Models;
class RecordPage;
class SideBar;
class Workbench;

// The side bar with its pages, and the banner when the service is gone or of another version.
class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  MainWindow(Models& models, Workbench& workbench, QWidget* parent = nullptr);

  LibraryStack& library() { return *library_; }
  // What the desktop or a drag brought, into the editor; comes forward.
  void openFiles(const QStringList& files);

  int pageCount() const;
  // Over the others, also when it is small or hidden.
  void comeForward();
  // Asks first where something is being recorded; ends in quitDone.
  void beginQuit();
  // Shows the sheet of this name once; what is unknown is passed over.
  void greet(const QString& sheet);
  // The chain of "mic", "app:ID" or "bus:N", which is called `name`.
  void showPlugins(const QString& scope, const QString& name);
  // As files are named after it.
  QString pageName(int page) const;
  void showPage(int page);

 signals:
  // The banner's button: the service is to be started.
  void serviceWanted();
  void testSoundWanted();
  // All keys at a glance.
  void keysWanted();
  // Sonmere as a whole has ended.
  void quitDone();

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  void closeEvent(QCloseEvent* event) override;
  void changeEvent(QEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  void addPage(const QString& icon, const QString& name, QWidget* page);
  void refreshState();
  void refreshMeters();
  void refreshBuses();
  void renameBus(int bus);
  void buildMenu();
  void openGuide();
  void offerName();

  Models& models_;
  SideBar* sideBar_;
  QStackedWidget* pages_;
  QStringList names_;
  Banner* banner_;
  AppsPage* apps_;
  InputPage* input_;
  RecordPage* record_;
  LibraryStack* library_;
  GuidePage* guide_ = nullptr;
  QuitFlow* quit_ = nullptr;
  QString finished_;  // the latest take that is complete
};

}  // namespace sonmere
