#include "ui/model/InputModel.h"

#include "control/ControlCodec.h"
#include "ui/model/Decode.h"

namespace sonmere {

InputModel::InputModel(ServiceLink& link) : TopicModel(link) {
  connect(&link, &ServiceLink::told, this, &InputModel::take);
  connect(&link, &ServiceLink::metered, this, &InputModel::takeMeters);
}

void InputModel::take(Topic topic, const TopicJSON& value) {
  if (topic != Topic::input) return;
  state_ = decodeInput(value);
  if (!state_.isRunning) meters_.reset();
  emit changed();
}

void InputModel::takeMeters(const ControlJSON& meters) {
  const bool isMetered = meters.is_object() && meters.contains("input");
  if (!isMetered && !meters_) return;
  meters_ = isMetered ? std::optional(decodeInputMeters(objectAt(meters, "input"))) : std::nullopt;
  emit metered();
}

void InputModel::setEnabled(bool enabled) { call("mic.enable", {{"enabled", enabled}}); }
void InputModel::select(const QString& device) { call("mic.select", {{"device", device.toStdString()}}); }
void InputModel::setChannels(const QString& channels) {
  call("mic.channels", {{"channels", channels.toStdString()}});
}
void InputModel::setVolume(float gain) { callLatest("mic volume", "mic.volume", {{"volume", gain}}); }
void InputModel::setEqualiser(const AppEQSettings& settings) {
  callLatest("mic equaliser", "mic.equaliser", {{"equaliser", encodeControl(settings)}});
}
void InputModel::setLimiter(std::optional<double> ceilingDb) {
  callLatest("mic limiter", "mic.limiter",
             {{"ceilingDb", ceilingDb ? ControlJSON(*ceilingDb) : ControlJSON()}});
}
void InputModel::setSend(int bus, float gain) {
  const ControlJSON volume = gain > 0 ? ControlJSON(gain) : ControlJSON();
  callLatest("mic send " + std::to_string(bus), "mic.send", {{"bus", bus}, {"volume", volume}});
}

void InputModel::addExtra(int channel, const QString& name) {
  ControlJSON params{{"channel", channel}};
  if (!name.isEmpty()) params["name"] = name.toStdString();
  call("input.add", params);
}
void InputModel::removeExtra(const QString& id) { call("input.remove", {{"input", id.toStdString()}}); }
void InputModel::setExtraVolume(const QString& id, float gain) {
  callLatest("input volume " + id.toStdString(), "input.set",
             {{"input", id.toStdString()}, {"volume", gain}});
}
void InputModel::setExtraPan(const QString& id, float pan) {
  callLatest("input pan " + id.toStdString(), "input.set", {{"input", id.toStdString()}, {"pan", pan}});
}
void InputModel::setExtraMuted(const QString& id, bool muted) {
  call("input.set", {{"input", id.toStdString()}, {"muted", muted}});
}

void InputModel::setLock(bool enabled) { call("inputLock.enable", {{"enabled", enabled}}); }
void InputModel::lockTo(const QString& device) {
  call("inputLock.select", {{"device", device.toStdString()}});
}

}  // namespace sonmere
