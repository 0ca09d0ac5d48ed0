#include "control/TopicValues.h"

#include "control/ControlCodec.h"
#include "control/PluginCodec.h"
#include "control/RuleCodec.h"
#include "control/SettingsCodec.h"
#include "control/SystemCodec.h"
#include "recording/RecordedSource.h"

namespace sonmere {

namespace {

TopicJSON withoutNulls(TopicJSON value) {
  if (!value.is_object()) return value;
  for (auto item = value.begin(); item != value.end();) {
    if (item->is_null()) {
      item = value.erase(item);
    } else {
      *item = withoutNulls(std::move(*item));
      ++item;
    }
  }
  return value;
}

// Those members of a value that are named.
TopicJSON members(const ControlJSON& value, std::initializer_list<const char*> names) {
  TopicJSON part = TopicJSON::object();
  for (const char* name : names) part[name] = TopicJSON(value.at(name));
  return part;
}

// A list as an object by one of its members, and the order.
TopicJSON byMember(const ControlJSON& list, const char* member, const char* what) {
  TopicJSON order = TopicJSON::array(), values = TopicJSON::object();
  for (const ControlJSON& each : list) {
    const ControlJSON& key = each.at(member);
    order.push_back(TopicJSON(key));
    values[key.is_string() ? std::string(key) : key.dump()] = TopicJSON(each);
  }
  return {{"order", order}, {what, values}};
}

TopicJSON appsValue(AppControl& apps) {
  TopicJSON order = TopicJSON::array(), values = TopicJSON::object();
  for (const AppState& app : apps.list()) {
    const ControlJSON all = encodeControl(app);
    order.push_back(app.id);
    values[app.id] = {
        {"facts", members(all, {"name", "running", "control", "bus", "output", "routeWaits", "hints"})},
        {"wishes", members(all, {"hidden", "pinned", "volume", "muted"})}};
  }
  return {{"order", order}, {"apps", values}, {"removed", apps.removed()}};
}

TopicJSON effectsValue(Control& control) {
  TopicJSON apps = TopicJSON::object(), buses = TopicJSON::object();
  for (const AppState& app : control.apps().list())
    apps[app.id] = members(encodeControl(app), {"equaliser", "limiter"});
  for (const BusState& bus : control.routing().state().buses)
    buses[std::to_string(bus.bus)] = members(encodeControl(bus), {"equaliser", "limiter"});
  return {{"apps", apps}, {"buses", buses}};
}

TopicJSON mixerValue(MixerControl& mixer) {
  const ControlJSON all = encodeControl(mixer.state());
  return {{"facts", members(all, {"outputDevice", "sampleRate", "error"})},
          {"wishes", members(all, {"enabled", "masterVolume", "boostAllowed", "outputEqualiser"})}};
}

TopicJSON inputValue(InputControl& input) {
  const ControlJSON all = encodeControl(input.state());
  TopicJSON value = byMember(all.at("devices"), "id", "devices");
  value["inputs"] = byMember(all.at("inputs"), "id", "inputs");
  value["lock"] = TopicJSON(all.at("lock"));
  value["facts"] = members(all, {"running", "onFallback", "newDevice", "captureRate", "bridgeRate", "error"});
  value["wishes"] = members(all, {"enabled", "channels", "volume", "equaliser", "limiter", "sends"});
  return value;
}

TopicJSON monitorValue(const MonitorControl& monitor) {
  const ControlJSON all = encodeControl(monitor.state());
  TopicJSON value = byMember(all.at("devices"), "id", "devices");
  value["apps"] = byMember(all.at("apps"), "id", "apps").at("apps");
  value["buses"] = byMember(all.at("buses"), "bus", "buses").at("buses");
  value["facts"] = members(all, {"running", "device", "sampleRate", "error"});
  value["wishes"] = members(all, {"enabled", "following"});
  value["microphone"] = TopicJSON(all.at("microphone"));
  return value;
}

// When the routes were last looked at is no change of them.
TopicJSON routesValue(const RoutesControl& routes) {
  const ControlJSON all = encodeControl(routes.state());
  TopicJSON value = byMember(all.at("routes"), "id", "routes");
  value["facts"] = members(all, {"worst", "resetting", "lastReset"});
  return value;
}

TopicJSON driverValue(const DriverControl& driver) {
  const ControlJSON all = encodeControl(driver.state());
  return {{"facts", members(all, {"status", "advice", "installed", "active", "flowing", "problem"})},
          {"wishes", members(all, {"sampleRate", "sampleRates"})}};
}

TopicJSON dawValue(const DAWControl& daw) {
  const ControlJSON all = encodeControl(daw.state());
  TopicJSON value = {{"facts", members(all, {"present", "name", "inputs", "outputs", "error"})},
                     {"wishes", members(all, {"enabled"})}};
  if (all.at("combined").is_object()) value["combined"] = TopicJSON(all.at("combined"));
  return value;
}

TopicJSON systemValue(const SystemAudioControl& system) {
  const ControlJSON all = encodeControl(system.state());
  TopicJSON value = byMember(all.at("devices"), "id", "devices");
  value["facts"] = members(all, {"whole", "outputName", "endedByUpdate", "error"});
  value["wishes"] = members(all, {"enabled", "following", "output"});
  return value;
}

TopicJSON mixValue(const MixControl& mix) {
  const ControlJSON all = encodeControl(mix.state());
  TopicJSON value = byMember(all.at("apps"), "id", "apps");
  value["tracks"] = byMember(all.at("tracks"), "track", "tracks").at("tracks");
  value["facts"] = members(all, {"forbidden", "heals"});
  value["wishes"] = members(all, {"enabled", "catchAll", "audition", "hearsTracks"});
  return value;
}

TopicJSON routingValue(Control& control) {
  const RoutingOverview routing = control.routing().state();
  TopicJSON value = byMember(encodeControl(control.profiles().list()), "id", "profiles");
  TopicJSON buses = TopicJSON::object(), names = TopicJSON::object();
  for (const BusState& bus : routing.buses) {
    if (bus.isRunning) buses[std::to_string(bus.bus)] = {{"apps", bus.apps}};
    if (bus.givenName) names[std::to_string(bus.bus)] = *bus.givenName;
  }
  value["facts"] = members(encodeControl(routing), {"waiting", "error"});
  value["facts"]["running"] = buses;
  value["wishes"] = {{"enabled", routing.isEnabled}, {"names", names}};
  return value;
}

// What grows while it runs is told by the meters.
TopicJSON recordingValue(Control& control) {
  TopicJSON running = TopicJSON::object();
  for (const RecordingState& each : control.recordings().list())
    running[each.source >= 0 ? std::to_string(each.source) : recordedSourceName(each.source)] = {
        {"path", each.path}};
  return {{"wishes", {{"layout", name(control.recordings().layout())}}},
          {"facts",
           {{"running", running},
            {"willSwitchOn", control.recordings().willSwitchOn()},
            {"preroll", encodeControl(control.recordings().preroll())},
            {"error", encodeControl(control.reports().status()).at("recordingError")},
            {"notices", control.recordings().health().notices}}}};
}

TopicJSON devicesValue(DeviceControl& devices) {
  const auto all = devices.list();
  // A server that does not answer has none.
  return byMember(all ? encodeControl(*all) : ControlJSON::array(), "id", "devices");
}

TopicJSON programValue(ReportControl& reports) {
  return members(encodeControl(reports.status()), {"version", "protocol", "process", "platform", "reason"});
}

TopicJSON libraryValue(LibraryControl& library) {
  const LibraryState state = library.state();
  TopicJSON value = byMember(encodeControl(state.sessions), "stamp", "sessions");
  value["facts"] = {
      {"folder", state.folder}, {"unavailable", state.isUnavailable}, {"scanning", state.isScanning}};
  return value;
}

TopicJSON pluginsValue(const PluginControl& plugins) {
  const ControlJSON all = encodeControl(plugins.overview());
  TopicJSON value = byMember(all.at("chains"), "scope", "chains");
  value["facts"] = members(all, {"error"});
  return value;
}

TopicJSON valueOf(Topic topic, Control& control) {
  switch (topic) {
    case Topic::apps:
      return appsValue(control.apps());
    case Topic::mixer:
      return mixerValue(control.mixer());
    case Topic::routing:
      return routingValue(control);
    case Topic::effects:
      return effectsValue(control);
    case Topic::input:
      return inputValue(control.input());
    case Topic::recording:
      return recordingValue(control);
    case Topic::devices:
      return devicesValue(control.devices());
    case Topic::settings:
      return byMember(encodeControl(control.settings().list()), "key", "settings");
    case Topic::program:
      return programValue(control.reports());
    case Topic::library:
      return libraryValue(control.library());
    case Topic::plugins:
      return pluginsValue(control.plugins());
    case Topic::monitor:
      return monitorValue(control.monitor());
    case Topic::routes:
      return routesValue(control.routes());
    case Topic::driver:
      return driverValue(control.driver());
    case Topic::daw:
      return dawValue(control.daw());
    case Topic::system:
      return systemValue(control.system());
    case Topic::mix:
      return mixValue(control.mix());
    case Topic::rules:
      return byMember(encodeControl(control.rules().list()), "rule", "rules");
  }
  return TopicJSON::object();
}

}  // namespace

TopicJSON topicValue(Topic topic, Control& control) { return withoutNulls(valueOf(topic, control)); }

TopicJSON mergePatch(const TopicJSON& from, const TopicJSON& to) {
  if (!from.is_object() || !to.is_object()) return to;
  TopicJSON patch = TopicJSON::object();
  for (const auto& item : from.items())
    if (!to.contains(item.key())) patch[item.key()] = nullptr;
  for (const auto& item : to.items()) {
    const auto before = from.find(item.key());
    if (before == from.end())
      patch[item.key()] = item.value();
    else if (*before != item.value())
      patch[item.key()] = mergePatch(*before, item.value());
  }
  return patch;
}

}  // namespace sonmere
