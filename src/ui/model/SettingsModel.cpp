#include "ui/model/SettingsModel.h"

#include "ui/model/Decode.h"

namespace sonmere {
namespace {

ShownSetting decodeSetting(const TopicJSON& json) {
  const auto text = [&](const char* name) {
    return QString::fromStdString(memberOr<std::string>(json, name, {}));
  };
  ShownSetting setting{text("key"), text("kind"), text("meaning"), text("effect"), {}, {}};
  if (const auto value = json.find("value"); value != json.end()) setting.value = *value;
  setting.lowest = memberOr(json, "lowest", 0.0);
  setting.highest = memberOr(json, "highest", 0.0);
  setting.isChanged = memberOr(json, "changed", false);
  const auto choices = json.find("choices");
  if (choices == json.end() || !choices->is_array()) return setting;
  for (const auto& choice : *choices) {
    if (choice.is_string()) setting.choices << QString::fromStdString(choice.get<std::string>());
  }
  return setting;
}

bool isForUsers(const ShownSetting& setting) {
  return setting.kind != QLatin1String("structure") && !setting.kind.isEmpty();
}

}  // namespace

SettingsModel::SettingsModel(ServiceLink& link) : link_(link) {
  connect(&link, &ServiceLink::told, this, &SettingsModel::take);
}

void SettingsModel::take(Topic topic, const TopicJSON& value) {
  if (topic != Topic::settings) return;
  settings_.clear();
  visitInOrder(value, "settings", [this](const auto&, const TopicJSON& json) {
    if (ShownSetting setting = decodeSetting(json); isForUsers(setting))
      settings_.push_back(std::move(setting));
  });
  emit changed();
}

ServiceLink::Answer SettingsModel::forKey(const QString& key) {
  return [this, key](const Outcome<ControlJSON>& answer) {
    if (answer) return emit answered(key, notesOf(*answer), false);
    emit answered(key, QString::fromStdString(answer.error().description), true);
    emit changed();
  };
}

void SettingsModel::set(const QString& key, const ControlJSON& value) {
  link_.callLatest("settings " + key.toStdString(), "settings.set",
                   {{"key", key.toStdString()}, {"value", value}}, forKey(key));
}

void SettingsModel::reset(const QString& key) {
  link_.call("settings.reset", {{"key", key.toStdString()}}, forKey(key));
}

}  // namespace sonmere
