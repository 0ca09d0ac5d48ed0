#pragma once

#include <QObject>
#include <functional>
#include <memory>
#include <vector>

class QWidget;

namespace sonmere {

class MainWindow;
class Models;
class Popover;
class ServiceStarter;

// Pictures of every page, sheet and state in both schemes and at several sizes, on the demonstration: what is
// shown is brought about as a user would, one state after the other. Then the program ends, with 1 where a
// picture could not be written or a state did not come.
class PageShots : public QObject {
  Q_OBJECT

 public:
  PageShots(MainWindow& window, Models& models, ServiceStarter& service, QString folder);
  ~PageShots() override;

  void start();

 private:
  struct State {
    QString name;
    std::function<void()> begin;
    std::function<bool()> isThere;
    int settleMilliseconds;
  };
  void addPages();
  void addEditor();
  void addSheets();
  void next();
  void wait();
  void take();
  void end(bool good);
  bool write(QWidget& widget, const QString& name, double scale);
  int page(const QString& name) const;

  MainWindow& window_;
  Models& models_;
  ServiceStarter& service_;
  std::unique_ptr<Popover> popover_;
  QString folder_;
  std::vector<State> states_;
  std::size_t at_ = 0;
  int looks_ = 0;
  bool isGood_ = true;
};

}  // namespace sonmere
