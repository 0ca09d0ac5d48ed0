#include "ui/model/BusesModel.h"

#include <algorithm>

#include "audio/device/BusTable.h"
#include "ui/model/Decode.h"

namespace sonmere {

BusesModel::BusesModel(ServiceLink& link) : link_(link) {
  fill();
  connect(&link, &ServiceLink::told, this, &BusesModel::take);
}

void BusesModel::fill() {
  routable_.clear();
  for (int bus = 0; bus < kBusCount; ++bus) {
    if (!isRoutableBus(bus)) continue;
    const bool isBridge = bus == kBridgeBus;
    const QString own = isBridge ? tr("Bridge") : tr("Track %1").arg(bus - kFirstTrackBus + 1);
    const QString given = givenName(bus);
    routable_.push_back({isBridge ? tr("To other programs") : tr("Tracks"),
                         given.isEmpty() ? own : tr("%1 (%2)").arg(given, own), QString::number(bus)});
  }
}

QString BusesModel::nameOf(int bus) const {
  const auto found = std::ranges::find(routable_, QString::number(bus), &RouteTarget::key);
  return found == routable_.end() ? QString::number(bus) : found->name;
}

QString BusesModel::givenName(int bus) const {
  const auto found = given_.find(bus);
  return found == given_.end() ? QString() : found->second;
}

QStringList BusesModel::appsIn(int bus) const {
  const auto found = apps_.find(bus);
  return found == apps_.end() ? QStringList() : found->second;
}

void BusesModel::take(Topic topic, const TopicJSON& value) {
  if (topic != Topic::routing) return;
  std::map<int, QString> given;
  for (const auto& [bus, name] : objectAt(objectAt(value, "wishes"), "names").items()) {
    if (name.is_string()) given[QString::fromStdString(bus).toInt()] = QString::fromStdString(name);
  }
  std::map<int, QStringList> apps;
  for (const auto& [bus, running] : objectAt(objectAt(value, "facts"), "running").items()) {
    const auto told = running.is_object() ? running.find("apps") : running.end();
    if (!running.is_object() || told == running.end() || !told->is_array()) continue;
    for (const TopicJSON& app : *told) {
      if (app.is_string()) apps[QString::fromStdString(bus).toInt()] << QString::fromStdString(app);
    }
  }
  if (given == given_ && apps == apps_) return;
  given_ = std::move(given);
  apps_ = std::move(apps);
  fill();
  emit changed();
}

void BusesModel::rename(int bus, const QString& name) {
  link_.call("bus.rename", {{"bus", bus}, {"name", name.trimmed().toStdString()}},
             [this](const Outcome<ControlJSON>& answer) {
               const QString text =
                   answer ? notesOf(*answer) : QString::fromStdString(answer.error().description);
               emit answered(text, !answer);
               if (!answer) emit changed();
             });
}

}  // namespace sonmere
