#pragma once

#include <QObject>
#include <QSystemTrayIcon>

namespace sonmere {

class MainWindow;
class Models;
class Popover;

// The icon in the desktop's tray. It shows whether Sonmere records by its form, and opens the popover; where
// the desktop has no tray the window is all there is, and closing it ends this program.
class Tray : public QObject {
  Q_OBJECT

 public:
  Tray(Models& models, MainWindow& window);
  ~Tray() override;

  bool isThere() const { return icon_.isVisible() && QSystemTrayIcon::isSystemTrayAvailable(); }

 private:
  void activated(QSystemTrayIcon::ActivationReason reason);
  void refresh();
  void toggleRecording();

  Models& models_;
  MainWindow& window_;
  QSystemTrayIcon icon_;
  std::unique_ptr<class QMenu> menu_;
  class QAction* record_ = nullptr;
  std::unique_ptr<Popover> popover_;
};

}  // namespace sonmere
