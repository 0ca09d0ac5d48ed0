#pragma once

#include <QMainWindow>

#include "ui/widgets/RouteButton.h"

class QStackedWidget;

namespace sonmere {

class AppsPage;
class Banner;
class Models;
class RecordPage;
class SideBar;

// The side bar with its pages, and the banner when the service is gone or of another version.
class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit MainWindow(Models& models, QWidget* parent = nullptr);

  int pageCount() const;
  // As files are named after it.
  QString pageName(int page) const;
  void showPage(int page);

 signals:
  // The banner's button: the service is to be started.
  void serviceWanted();
  void testSoundWanted();

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  void addPage(const QString& icon, const QString& name, QWidget* page);
  void refreshState();
  void setBuses(const std::vector<RouteTarget>& buses);

  Models& models_;
  SideBar* sideBar_;
  QStackedWidget* pages_;
  QStringList names_;
  Banner* banner_;
  AppsPage* apps_;
  RecordPage* record_;
};

}  // namespace sonmere
