#include "ui/hotkeys/Hotkeys.h"

#include <algorithm>
#include <cmath>

#include "ui/model/Models.h"

namespace sonmere {
namespace {

const QString kSetting = QStringLiteral("sonmere.hotkeys.enabled");
constexpr float kMostGain = 4, kMostMasterGain = 2;
// From silence a step leads to what can be heard.
constexpr float kLeastGain = 0.01f;

float stepped(float gain, double decibels, float most) {
  const float next = std::max(gain, kLeastGain) * static_cast<float>(std::pow(10, decibels / 20));
  return std::clamp(next, 0.0f, most);
}

}  // namespace

Hotkeys::Hotkeys(Models& models, ShortcutPortal& portal, QObject* parent)
    : QObject(parent), models_(models), portal_(portal) {
  connect(&portal_, &ShortcutPortal::pressed, this, &Hotkeys::press);
  connect(&models_.settings(), &SettingsModel::changed, this, &Hotkeys::follow);
  connect(&models_.apps(), &AppsModel::appsChanged, this, &Hotkeys::follow);
}

std::vector<Hotkeys::Action> Hotkeys::actions() const {
  RecordingModel& recording = models_.recording();
  InputModel& input = models_.input();
  AppsModel& apps = models_.apps();
  MixModel& mix = models_.mix();
  SystemAudioModel& system = models_.system();
  const auto master = [&apps](double decibels) {
    return [&apps, decibels] {
      apps.setMasterVolume(stepped(apps.mixer().masterVolume, decibels, kMostMasterGain));
    };
  };
  std::vector<Action> all = {
      {QStringLiteral("record"), tr("Record, or stop"),
       QStringLiteral("sonmere record start, sonmere record stop"),
       [&recording] { recording.running().empty() ? recording.startAgain() : recording.stopAll(); }},
      {QStringLiteral("microphone"), tr("Microphone on or off"),
       QStringLiteral("sonmere mic on, sonmere mic off"),
       [&input] { input.setEnabled(!input.state().isEnabled); }},
      {QStringLiteral("louder"), tr("Everything louder"), QStringLiteral("sonmere master 2dB+"), master(2)},
      {QStringLiteral("quieter"), tr("Everything quieter"), QStringLiteral("sonmere master 2dB-"),
       master(-2)},
      {QStringLiteral("mix"), tr("Mix Mode on or off"), QStringLiteral("sonmere mix on, sonmere mix off"),
       [&mix] { mix.setEnabled(!mix.state().isEnabled); }},
      {QStringLiteral("system"), tr("System audio on or off"),
       QStringLiteral("sonmere system on, sonmere system off"),
       [&system] { system.setEnabled(!system.state().isEnabled); }},
      {QStringLiteral("window"), tr("Show the window"), QStringLiteral("sonmere-window"),
       [this] { emit const_cast<Hotkeys*>(this)->windowWanted(); }}};
  for (const AppState& app : apps.apps())
    if (app.isPinned) addApp(app, all);
  return all;
}

void Hotkeys::addApp(const AppState& app, std::vector<Action>& all) const {
  AppsModel& apps = models_.apps();
  const QString id = QString::fromStdString(app.id), name = QString::fromStdString(app.name);
  const auto add = [&](const char* kind, const QString& description, const QString& command,
                       const std::function<void(const AppState&)>& act) {
    all.push_back(
        {QLatin1String(kind) + QLatin1Char(':') + id, description, command.arg(id), [&apps, id, act] {
           if (const AppState* now = apps.find(id)) act(*now);
         }});
  };
  const auto step = [&apps, id](double decibels) {
    return [&apps, id, decibels](const AppState& now) {
      apps.setVolume(id, stepped(now.volume, decibels, apps.mixer().boostAllowed ? kMostGain : 1));
    };
  };
  add("louder", tr("%1 louder").arg(name), QStringLiteral("sonmere volume %1 2dB+"), step(2));
  add("quieter", tr("%1 quieter").arg(name), QStringLiteral("sonmere volume %1 2dB-"), step(-2));
  add("mute", tr("Mute %1").arg(name), QStringLiteral("sonmere mute %1 toggle"),
      [&apps, id](const AppState& now) { apps.setMuted(id, !now.isMuted); });
  add("route", tr("%1 to the Bridge and back").arg(name),
      QStringLiteral("sonmere route %1 bridge, sonmere route %1 off"), [&apps, id](const AppState& now) {
        apps.setRoute(id, now.bus ? QStringLiteral("default") : QStringLiteral("0"));
      });
}

void Hotkeys::press(const QString& id) {
  const auto all = actions();
  const auto found = std::ranges::find(all, id, &Action::id);
  if (found != all.end()) found->act();
}

// The desktop is asked again only where there is something else to ask for.
void Hotkeys::follow() {
  const auto& settings = models_.settings().settings();
  const auto found = std::ranges::find(settings, kSetting, &ShownSetting::key);
  const bool isOn = found != settings.end() && found->value.is_boolean() && found->value.get<bool>();
  if (!isOn) return portal_.release();
  std::vector<ShortcutPortal::Shortcut> wanted;
  for (const Action& action : actions()) wanted.push_back({action.id, action.description});
  portal_.bind(wanted);
}

std::vector<HotkeyLine> Hotkeys::lines() const {
  std::vector<HotkeyLine> all;
  const auto& keys = portal_.triggers();
  for (const Action& action : actions()) {
    const auto key = keys.find(action.id);
    all.push_back({action.description, key == keys.end() ? QString() : key->second, action.command});
  }
  return all;
}

QString Hotkeys::stateText() const {
  switch (portal_.state()) {
    case ShortcutPortal::State::off:
      return tr(
          "Off. The setting \"Keys that work in any program\" asks your desktop for them; pinned apps get "
          "some of their own.");
    case ShortcutPortal::State::asking:
      return tr("Your desktop is being asked.");
    case ShortcutPortal::State::bound:
      return tr("Your desktop has them; which keys they are is chosen in its settings.");
    case ShortcutPortal::State::refused:
      return tr("Your desktop, or you, refused them. Switch the setting off and on to ask again.");
    case ShortcutPortal::State::missing:
      return tr(
          "Your desktop has none to give. In its own settings for the keyboard you can bind a key to a "
          "command.");
  }
  return {};
}

}  // namespace sonmere
