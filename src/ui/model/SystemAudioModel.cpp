#include "ui/model/SystemAudioModel.h"

#include "ui/model/SystemDecode.h"

namespace sonmere {

SystemAudioModel::SystemAudioModel(ServiceLink& link) : TopicModel(link) {
  connect(&link, &ServiceLink::told, this, &SystemAudioModel::take);
}

void SystemAudioModel::take(Topic topic, const TopicJSON& value) {
  if (topic != Topic::system) return;
  state_ = decodeSystemAudio(value);
  emit changed();
}

void SystemAudioModel::setEnabled(bool enabled) { call("system.enable", {{"enabled", enabled}}); }

void SystemAudioModel::select(const QString& device) {
  if (device.isEmpty()) return call("system.follow", {{"following", true}});
  call("system.select", {{"device", device.toStdString()}});
}

void SystemAudioModel::reset() { call("system.reset"); }

}  // namespace sonmere
