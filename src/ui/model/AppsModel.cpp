#include "ui/model/AppsModel.h"

#include <algorithm>
#include <charconv>

#include "ui/model/Decode.h"
#include "ui/widgets/RouteButton.h"

namespace sonmere {
namespace {

constexpr const char* kSpectrumKey = "sonmere.eqSpectrumVisible";

ControlJSON encode(const AppEQSettings& s) {
  return {{"enabled", s.isEnabled}, {"highPassHz", s.highPassFreq},
          {"bellHz", s.paraFreq},   {"bellDb", s.paraGain},
          {"bellQ", s.paraQ},       {"lowPassHz", s.lowPassFreq}};
}

}  // namespace

double shortestDouble(float value) {
  char text[32];
  double number = value;
  const auto end = std::to_chars(text, text + sizeof text, value).ptr;
  std::from_chars(text, end, number);
  return number;
}

AppsModel::AppsModel(ServiceLink& link) : link_(link) {
  connect(&link, &ServiceLink::told, this, &AppsModel::take);
  connect(&link, &ServiceLink::metered, this, &AppsModel::takeMeters);
}

const AppState* AppsModel::find(const QString& id) const {
  const auto found = std::ranges::find(apps_, id.toStdString(), &AppState::id);
  return found == apps_.end() ? nullptr : &*found;
}

void AppsModel::take(Topic topic, const TopicJSON& value) {
  if (topic == Topic::apps) takeApps(value);
  if (topic == Topic::effects) takeEffects(value);
  if (topic == Topic::settings) takeSettings(value);
  if (topic != Topic::mixer) return;
  mixer_ = decodeMixer(value);
  emit mixerChanged();
}

void AppsModel::takeApps(const TopicJSON& value) {
  apps_.clear();
  visitInOrder(value, "apps", [this](const std::string& id, const TopicJSON& app) {
    apps_.push_back(decodeApp(id, app));
    decodeEffects(objectAt(effects_, id.c_str()), apps_.back());
  });
  emit appsChanged();
}

void AppsModel::takeSettings(const TopicJSON& value) {
  const bool wanted = memberOr(objectAt(objectAt(value, "settings"), kSpectrumKey), "value", false);
  if (std::exchange(isSpectrumWanted_, wanted) != wanted) emit spectrumWantedChanged();
}

void AppsModel::takeEffects(const TopicJSON& value) {
  effects_ = objectAt(value, "apps");
  for (AppState& app : apps_) decodeEffects(objectAt(effects_, app.id.c_str()), app);
  emit appsChanged();
}

void AppsModel::takeMeters(const ControlJSON& meters) {
  for (const auto& [id, meter] : objectAt(meters, "apps").items()) {
    emit metersChanged(QString::fromStdString(id), decodeMeters(meter));
  }
  const ControlJSON& spectrum = objectAt(meters, "spectrum");
  const auto bands = spectrum.find("bandsDb");
  if (bands == spectrum.end() || !bands->is_array()) return;
  std::vector<float> levels;
  for (const ControlJSON& band : *bands) levels.push_back(band.is_number() ? band.get<float>() : -120);
  emit spectrumChanged(QString::fromStdString(memberOr<std::string>(spectrum, "of", {})), levels);
}

ServiceLink::Answer AppsModel::forApp(const QString& id) {
  return [this, id](const Outcome<ControlJSON>& answer) {
    if (answer) return emit answered(id, notesOf(*answer), false);
    emit answered(id, QString::fromStdString(answer.error().description), true);
    // The control goes back to what holds.
    emit(id.isEmpty() ? mixerChanged() : appsChanged());
  };
}

void AppsModel::setVolume(const QString& id, float gain) {
  const std::string app = id.toStdString();
  link_.callLatest("volume " + app, "volume", {{"app", app}, {"volume", shortestDouble(gain)}}, forApp(id));
}

void AppsModel::setMuted(const QString& id, bool muted) {
  link_.call("mute", {{"app", id.toStdString()}, {"muted", muted}}, forApp(id));
}

void AppsModel::setEqualiser(const QString& id, const AppEQSettings& settings) {
  const std::string app = id.toStdString();
  link_.callLatest("equaliser " + app, "equaliser", {{"app", app}, {"equaliser", encode(settings)}},
                   forApp(id));
}

void AppsModel::setLimiter(const QString& id, std::optional<double> ceilingDb) {
  link_.call("limiter",
             {{"app", id.toStdString()}, {"ceilingDb", ceilingDb ? ControlJSON(*ceilingDb) : ControlJSON()}},
             forApp(id));
}

void AppsModel::setRoute(const QString& id, const QString& target) {
  const std::string app = id.toStdString();
  bool isBus = false;
  const int bus = target.toInt(&isBus);
  const AppState* state = find(id);
  if (state && state->control == "direct" && target != QLatin1String("direct")) {
    link_.call("direct", {{"app", app}, {"direct", false}}, forApp(id));
    if (target == QLatin1String("default")) return;
  }
  if (target.startsWith(kDeviceTarget))
    return link_.call("output", {{"app", app}, {"device", target.mid(kDeviceTarget.size()).toStdString()}},
                      forApp(id));
  if (target == QLatin1String("direct")) {
    if (state && state->bus) link_.call("route", {{"app", app}, {"bus", nullptr}}, forApp(id));
    return link_.call("direct", {{"app", app}, {"direct", true}}, forApp(id));
  }
  link_.call("route", {{"app", app}, {"bus", isBus ? ControlJSON(bus) : ControlJSON()}}, forApp(id));
}

void AppsModel::changeRow(const QString& id, const QString& change) {
  link_.call(change.toStdString(), {{"app", id.toStdString()}}, forApp(id));
}

void AppsModel::setMixerEnabled(bool enabled) {
  link_.call("mixer.enable", {{"enabled", enabled}}, forApp({}));
}

void AppsModel::setSpectrumWanted(bool wanted) {
  link_.call("settings.set", {{"key", kSpectrumKey}, {"value", wanted}}, forApp({}));
}

void AppsModel::setMasterVolume(float gain) {
  link_.callLatest("mixer.master", "mixer.master", {{"volume", shortestDouble(gain)}}, forApp({}));
}

void AppsModel::setOutputEqualiser(const AppEQSettings& settings) {
  link_.callLatest("mixer.outputEqualiser", "mixer.outputEqualiser", {{"equaliser", encode(settings)}},
                   forApp({}));
}

}  // namespace sonmere
