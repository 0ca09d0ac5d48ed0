#pragma once

#include <QToolButton>
#include <vector>

namespace sonmere {

// What the key of a device begins with.
inline const QString kDeviceTarget = QStringLiteral("device:");

// A place that an app's sound can go to.
struct RouteTarget {
  QString group;  // a heading in the menu
  QString name;
  QString key;  // "default", "direct", a bus number, or "device:" and a device's identifier

  bool operator==(const RouteTarget&) const = default;
};

// Where an app's sound goes, as one button with all targets in groups.
class RouteButton : public QToolButton {
  Q_OBJECT

 public:
  explicit RouteButton(QWidget* parent = nullptr);

  void setTargets(const std::vector<RouteTarget>& targets);
  // `name` is shown for a key that is among no targets; without one the key stands as it is.
  void showTarget(const QString& key, const QString& name = {});

 signals:
  void chosen(const QString& key);

 private:
  void fill();
  void fillMenu();

  std::vector<RouteTarget> targets_;
  QString key_, name_;
};

}  // namespace sonmere
