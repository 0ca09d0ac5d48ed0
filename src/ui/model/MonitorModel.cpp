#include "ui/model/MonitorModel.h"

#include <algorithm>

#include "ui/model/Decode.h"

namespace sonmere {

MonitorModel::MonitorModel(ServiceLink& link) : TopicModel(link) {
  connect(&link, &ServiceLink::told, this, &MonitorModel::take);
}

void MonitorModel::take(Topic topic, const TopicJSON& value) {
  if (topic != Topic::monitor) return;
  state_ = decodeMonitor(value);
  emit changed();
}

bool MonitorModel::isAppHeard(const QString& id) const {
  const auto found = std::ranges::find(state_.apps, id.toStdString(), &MonitorAppState::id);
  return found != state_.apps.end() && found->isEnabled;
}

bool MonitorModel::isBusHeard(int bus) const {
  const auto found = std::ranges::find(state_.buses, bus, &MonitorBusState::bus);
  return found != state_.buses.end() && found->isEnabled;
}

void MonitorModel::setEnabled(bool enabled) { call("monitor.enable", {{"enabled", enabled}}); }

void MonitorModel::select(const QString& device) {
  if (device.isEmpty()) return call("monitor.follow", ControlJSON::object());
  call("monitor.select", {{"device", device.toStdString()}});
}

void MonitorModel::setApp(const QString& id, bool heard) {
  call("monitor.app", {{"app", id.toStdString()}, {"enabled", heard}});
}

void MonitorModel::setBus(int bus, bool heard) { call("monitor.bus", {{"bus", bus}, {"enabled", heard}}); }

void MonitorModel::setMicrophone(bool heard) { call("monitor.mic", {{"enabled", heard}}); }

}  // namespace sonmere
