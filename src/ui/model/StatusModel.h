#pragma once

#include <QObject>
#include <vector>

#include "control/DeviceState.h"
#include "control/RoutesState.h"
#include "ui/model/ServiceLink.h"

namespace sonmere {

// The program at a glance and the devices, as the service tells them.
class StatusModel : public QObject {
  Q_OBJECT

 public:
  explicit StatusModel(ServiceLink& link);

  // In words.
  const QString& summary() const { return summary_; }
  // The service is of another version than this window: what is to be told of it; else empty.
  const QString& versionNote() const { return versionNote_; }
  const std::vector<DeviceState>& devices() const { return devices_; }
  const std::vector<RouteRow>& routes() const { return routes_; }
  bool isResetting() const { return isResetting_; }
  // Empty where there is no such route.
  RouteRow route(const std::string& id) const;
  // Every route anew; how they fare then comes as any change does. Ends in answered.
  void resetRouting();
  // Ends in reportCame, with why it can't be had where it can't.
  void askForReport();

 signals:
  void changed();
  // Why a reset was refused; empty when it was not.
  void answered(const QString& text, bool isRefusal);
  void reportCame(const QString& text);

 private:
  void take(Topic topic, const TopicJSON& value);
  void takeRoutes(const TopicJSON& value);
  void describe();

  ServiceLink& link_;
  QString summary_;
  QString program_;
  QString versionNote_;
  std::map<Topic, QString> errors_;
  std::vector<DeviceState> devices_;
  std::vector<RouteRow> routes_;
  bool isResetting_ = false;
};

}  // namespace sonmere
