#pragma once

#include <QToolButton>
#include <vector>

namespace sonmere {

// A place that an app's sound can go to.
struct RouteTarget {
  QString group;  // a heading in the menu
  QString name;
  QString key;  // "default", "direct", or a bus number

  bool operator==(const RouteTarget&) const = default;
};

// Where an app's sound goes, as one button with all targets in groups.
class RouteButton : public QToolButton {
  Q_OBJECT

 public:
  explicit RouteButton(QWidget* parent = nullptr);

  void setTargets(const std::vector<RouteTarget>& targets);
  // A key that is among no targets stands as it is.
  void showTarget(const QString& key);

 signals:
  void chosen(const QString& key);

 private:
  void fill();
  void fillMenu();

  std::vector<RouteTarget> targets_;
  QString key_;
};

}  // namespace sonmere
