#pragma once

#include <QObject>

namespace sonmere {

class MainWindow;
class Models;

// Pictures of every page in both schemes and at several sizes, once the service has told what there is; then
// the program ends, with 1 where a picture could not be written or the service did not come.
class PageShots : public QObject {
  Q_OBJECT

 public:
  PageShots(MainWindow& window, Models& models, QString folder);

  void start();

 private:
  void waitForApps();
  void takeAll();
  bool take(const QString& name, double scale);

  MainWindow& window_;
  Models& models_;
  QString folder_;
  int looks_ = 0;
};

}  // namespace sonmere
