#include "control/desktop/BusObjects.h"

#include "control/ControlCodec.h"

namespace sonmere {

namespace {

using Values = std::map<std::string, ControlJSON>;

// A list by one of its members.
template <class List>
Values byKey(const List& list, const char* member) {
  Values values;
  for (const auto& each : list) {
    ControlJSON value = encodeControl(each);
    const ControlJSON& key = value.at(member);
    const std::string text = key.is_string() ? std::string(key) : key.dump();
    values.emplace(text, std::move(value));
  }
  return values;
}

// By bus, or by what else is recorded: "mic".
Values recordings(Control& control) {
  Values values;
  for (const RecordingState& each : control.recordings().list()) {
    ControlJSON value = encodeControl(each);
    const std::string key = each.source >= 0 ? std::to_string(each.source) : std::string(value.at("source"));
    values.emplace(key, std::move(value));
  }
  return values;
}

Values program(Control& control) {
  ControlJSON value = encodeControl(control.reports().status());
  value["recording"] = !control.recordings().list().empty();
  return {{"", std::move(value)}};
}

}  // namespace

const std::vector<BusKind>& busKinds() {
  static const std::vector<BusKind> kKinds = {
      {"/com/sonmere/Sonmere1",
       "com.sonmere.Sonmere1",
       {Topic::program, Topic::recording},
       nullptr,
       false,
       {{"Version", "s", "version"}, {"Platform", "s", "platform"}, {"Recording", "b", "recording"}},
       {{"StartRecording", "ai", {"buses"}, "record.start"},
        {"StopRecording", "i", {"bus"}, "record.stop", ControlJSON::object(), "path"},
        {"ApplyProfile", "s", {"name"}, "profile.apply"},
        {"Quit", "", {}, "quit"}},
       program},
      {"/com/sonmere/Sonmere1/mixer",
       "com.sonmere.Sonmere1.Mixer",
       {Topic::mixer},
       nullptr,
       false,
       {{"Enabled", "b", "enabled", "mixer.enable", "enabled"},
        {"MasterVolume", "d", "masterVolume", "mixer.master", "volume"},
        {"OutputDevice", "s", "outputDevice"}},
       {},
       [](Control& control) {
         return Values{{"", encodeControl(control.mixer().state())}};
       }},
      {"/com/sonmere/Sonmere1/input",
       "com.sonmere.Sonmere1.Input",
       {Topic::input},
       nullptr,
       false,
       {{"Enabled", "b", "enabled", "mic.enable", "enabled"},
        {"Volume", "d", "volume", "mic.volume", "volume"},
        {"Running", "b", "running"}},
       {{"Select", "s", {"device"}, "mic.select"}},
       [](Control& control) {
         return Values{{"", encodeControl(control.input().state())}};
       }},
      {"/com/sonmere/Sonmere1/apps",
       "com.sonmere.Sonmere1.App",
       {Topic::apps},
       "app",
       false,
       {{"Id", "s", "id"},
        {"Name", "s", "name"},
        {"Running", "b", "running"},
        {"Control", "s", "control"},
        {"Bus", "i", "bus"},
        {"Volume", "d", "volume", "volume", "volume"},
        {"Muted", "b", "muted", "mute", "muted"}},
       {{"Route", "i", {"bus"}, "route"},
        {"Unroute", "", {}, "route", {{"bus", nullptr}}},
        {"ToggleMute", "", {}, "mute", {{"toggle", true}}}},
       [](Control& control) { return byKey(control.apps().list(), "id"); }},
      {"/com/sonmere/Sonmere1/buses",
       "com.sonmere.Sonmere1.Bus",
       {Topic::routing, Topic::recording},
       "bus",
       true,
       {{"Number", "i", "bus"},
        {"Name", "s", "name", "bus.rename", "name"},
        {"Running", "b", "running"},
        {"Recording", "b", "recording"},
        {"Apps", "as", "apps"}},
       {},
       [](Control& control) { return byKey(control.routing().state().buses, "bus"); }},
      {"/com/sonmere/Sonmere1/recordings",
       "com.sonmere.Sonmere1.Recording",
       {Topic::recording},
       "bus",
       true,
       {{"Bus", "i", "bus"}, {"Source", "s", "source"}, {"Path", "s", "path"}},
       {{"Stop", "", {}, "record.stop", ControlJSON::object(), "path"}},
       recordings},
  };
  return kKinds;
}

}  // namespace sonmere
