#include "control/ControlMethods.h"

#include <fmt/format.h>

#include "control/ControlMethodReaders.h"
#include "control/RuleCodec.h"
#include "control/SettingsCodec.h"
#include "control/SystemCodec.h"
#include "recording/RecordedSource.h"

namespace sonmere {

namespace {

struct StartRequest {
  RecordingControl::Start start;
  bool isList = false;  // so is the answer
};

StartRequest readStart(ControlParams& params) {
  StartRequest request;
  std::vector<int>& sources = request.start.sources;
  request.start.layout = params.textIf("layout");
  request.start.format = params.textIf("format");
  request.start.depth = params.textIf("depth");
  request.start.folder = params.textIf("folder");
  request.start.mostSeconds = params.numberIf("maxSeconds");
  request.start.mostBytes = params.numberIf("maxBytes");
  request.start.partSeconds = params.numberIf("partSeconds");
  request.start.prerollSeconds = params.numberIf("prerollSeconds");
  request.start.isOfAll = params.flagOr("all", false);
  request.isList = request.start.isOfAll;
  if (request.isList) return request;
  const bool mic = params.flagOr("mic", false);
  if (auto buses = params.wholesIf("buses")) {
    sources = std::move(*buses);
    request.isList = true;
  } else if (!mic || params.has("bus")) {
    sources.push_back(params.whole("bus"));
    params.hasAlternative();
  }
  if (mic) sources.push_back(kMicSource);
  return request;
}

struct SaveRequest {
  double seconds = 0;
  RecordingControl::Start start;
};

SaveRequest readSave(ControlParams& params) {
  SaveRequest request{params.number("seconds"), {}};
  request.start.format = params.textIf("format");
  request.start.depth = params.textIf("depth");
  request.start.folder = params.textIf("folder");
  return request;
}

struct StopRequest {
  int source = 0;
  bool isAll = false;
};

StopRequest readStop(ControlParams& params) {
  if (params.flagOr("all", false)) return {0, true};
  if (params.flagOr("mic", false)) return {kMicSource, false};
  const int bus = params.whole("bus");
  params.hasAlternative();
  return {bus, false};
}

SwitchRequest readMute(ControlParams& params) {
  if (params.flagOr("toggle", false)) return SwitchRequest::toggle;
  const bool muted = params.flag("muted");
  params.hasAlternative();
  return muted ? SwitchRequest::on : SwitchRequest::off;
}

// How often meters are told, in Hz: as a rule, and at the least and most.
constexpr double kMeterRate = 10, kSlowestMeters = 0.1, kFastestMeters = 60;

Outcome<TopicSet> topicsOf(const std::vector<std::string>& names) {
  TopicSet topics;
  for (const std::string& each : names) {
    const auto topic = topicNamed(each);
    if (!topic)
      return std::unexpected(controlError(
          ControlFault::badValue, fmt::format("there is no topic \"{}\"; use {}", each, topicNames())));
    topics.insert(*topic);
  }
  return topics;
}

}  // namespace

ControlMethods::ControlMethods(Control& control) : control_(control) {
  addPrograms();
  addApps();
  addMixer();
  addRouting();
  addInput();
  addMonitor();
  addHealth();
  addDAW();
  addSystem();
  addMix();
  addRecordings();
  addProfiles();
  addPlugins();
  addPluginActs();
  addSettings();
  addMaintenance();
  addRules();
  addUsage();
  addSubscriptions();
}

void ControlMethods::addPrograms() {
  add(
      "hello", [](ControlParams& p) { return p.wholeIf("protocol"); },
      [this](std::optional<int> protocol) { return answer(control_.reports().greet(protocol)); });
  add("status", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.reports().status()); });
  add("report", [this]() -> Outcome<ControlJSON> {
    return ControlJSON{{"text", control_.reports().report()}};
  });
  add("report.history", [this]() -> Outcome<ControlJSON> {
    return ControlJSON{{"text", control_.reports().latencyHistory()}};
  });
  add("devices", [this] { return answer(control_.devices().list()); });
  add("methods", [this]() -> Outcome<ControlJSON> { return describe(); });
  add("window.launch", readFlag("atLogin"), [this](bool atLogin) -> Outcome<ControlJSON> {
    return encodeControl(control_.window().launch(atLogin));
  });
  add("quit", [this]() -> Outcome<ControlJSON> {
    control_.quit();
    return ControlJSON::object();
  });
}

void ControlMethods::addApps() {
  add("apps", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.apps().list()); });
  add("apps.removed", [this]() -> Outcome<ControlJSON> { return ControlJSON(control_.apps().removed()); });
  add("app", readApp, [this](const std::string& app) { return answer(control_.apps().get(app)); });
  add("volume", forApp(readVolume),
      [this](const auto& v) { return answer(control_.apps().setVolume(v.app, v.value)); });
  add("mute", forApp(readMute),
      [this](const auto& v) { return answer(control_.apps().setMuted(v.app, v.value)); });
  add("equaliser", forApp(readEqualiser), [this](const auto& v) -> Outcome<ControlJSON> {
    const auto settings = decodeEqualiser(v.value);
    if (!settings) return std::unexpected(settings.error());
    return answer(control_.apps().setEqualiser(v.app, *settings));
  });
  add("limiter", forApp([](ControlParams& p) { return p.numberOrNull("ceilingDb"); }),
      [this](const auto& v) { return answer(control_.apps().setLimiter(v.app, v.value)); });
  add("direct", forApp(readFlag("direct")),
      [this](const auto& v) { return answer(control_.apps().setDirect(v.app, v.value)); });
  const auto readOutput = [](ControlParams& p) -> std::optional<AppControl::OutputRequest> {
    const auto device = p.textIf("device");
    const int left = p.wholeIf("left").value_or(1), right = p.wholeIf("right").value_or(2);
    if (!device) return std::nullopt;
    return AppControl::OutputRequest{*device, left, right};
  };
  add("output", forApp(readOutput),
      [this](const auto& v) { return answer(control_.apps().setOutput(v.app, v.value)); });
  add("route", forApp([](ControlParams& p) { return p.wholeOrNull("bus"); }),
      [this](const auto& v) { return answer(control_.apps().route(v.app, v.value)); });
  using Row = AppControl::Row;
  for (const auto& [name, change] : {std::pair{"hide", Row::hide},
                                     {"unhide", Row::unhide},
                                     {"pin", Row::pin},
                                     {"unpin", Row::unpin},
                                     {"remove", Row::remove},
                                     {"automatic", Row::automatic}})
    add(name, readApp,
        [this, change](const std::string& app) { return answer(control_.apps().setRow(app, change)); });
}

void ControlMethods::addMixer() {
  add("mixer", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.mixer().state()); });
  add("mixer.enable", readFlag("enabled"),
      [this](bool on) { return answer(control_.mixer().setEnabled(on)); });
  add("mixer.boost", readFlag("allowed"),
      [this](bool on) { return answer(control_.mixer().setBoostAllowed(on)); });
  add("mixer.master", readVolume,
      [this](VolumeRequest request) { return answer(control_.mixer().setMaster(request)); });
  add("mixer.outputEqualiser", readEqualiser, [this](const ControlJSON& object) -> Outcome<ControlJSON> {
    const auto settings = decodeEqualiser(object);
    if (!settings) return std::unexpected(settings.error());
    return answer(control_.mixer().setOutputEqualiser(*settings));
  });
}

void ControlMethods::addRouting() {
  add("routing", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.routing().state()); });
  add("routing.enable", readFlag("enabled"),
      [this](bool on) -> Outcome<ControlJSON> { return encodeControl(control_.routing().setEnabled(on)); });
  add(
      "bus.rename", [](ControlParams& p) { return std::pair(p.whole("bus"), p.text("name")); },
      [this](const auto& v) { return answer(control_.routing().rename(v.first, v.second)); });
  add("bus", readBus, [this](int bus) { return answer(control_.routing().bus(bus)); });
  add(
      "bus.equaliser", [](ControlParams& p) { return std::pair(p.whole("bus"), p.object("equaliser")); },
      [this](const auto& v) -> Outcome<ControlJSON> {
        const auto settings = decodeEqualiser(v.second);
        if (!settings) return std::unexpected(settings.error());
        return answer(control_.routing().setEqualiser(v.first, *settings));
      });
  add(
      "bus.limiter", [](ControlParams& p) { return std::pair(p.whole("bus"), p.numberOrNull("ceilingDb")); },
      [this](const auto& v) { return answer(control_.routing().setLimiter(v.first, v.second)); });
}

void ControlMethods::addHealth() {
  add("routes", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.routes().state()); });
  add("routes.check", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.routes().check()); });
  add("driver", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.driver().state()); });
  add("driver.refresh",
      [this]() -> Outcome<ControlJSON> { return encodeControl(control_.driver().refresh()); });
  add(
      "driver.rate", [](ControlParams& p) { return p.number("rate"); },
      [this](double rate) { return answer(control_.driver().setSampleRate(rate)); });
  addLater(
      "routes.reset", [](ControlParams&) { return 0; },
      [this](int, ControlPeer&, const Reply& reply) {
        control_.routes().reset([reply](const RoutesState& routes) { reply(encodeControl(routes)); });
      });
}

void ControlMethods::addRecordings() {
  add("recordings", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.recordings().list()); });
  add("record.health",
      [this]() -> Outcome<ControlJSON> { return encodeControl(control_.recordings().health()); });
  addLater("record.start", readStart, [this](const StartRequest& request, ControlPeer&, const Reply& reply) {
    control_.recordings().start(
        request.start, [reply, isList = request.isList](const Outcome<std::vector<RecordingState>>& started) {
          if (!started) return reply(std::unexpected(started.error()));
          reply(isList ? encodeControl(*started) : encodeControl(started->front()));
        });
  });
  add(
      "record.mark", [](ControlParams& p) { return p.textIf("text").value_or(""); },
      [this](const std::string& text) -> Outcome<ControlJSON> {
        const auto marks = control_.recordings().mark(text);
        if (!marks) return std::unexpected(marks.error());
        ControlJSON all = ControlJSON::array();
        for (const auto& mark : *marks)
          all.push_back({{"path", mark.path}, {"frame", mark.frame}, {"seconds", mark.seconds}});
        return ControlJSON{{"marks", all}};
      });
  add("record.preroll",
      [this]() -> Outcome<ControlJSON> { return encodeControl(control_.recordings().preroll()); });
  addLater("record.saveLast", readSave, [this](const SaveRequest& request, ControlPeer&, const Reply& reply) {
    control_.recordings().saveLast(request.seconds, request.start, [reply](const auto& paths) {
      if (!paths) return reply(std::unexpected(paths.error()));
      reply(ControlJSON{{"paths", *paths}});
    });
  });
  addLater("record.stop", readStop, [this](const StopRequest& request, ControlPeer&, const Reply& reply) {
    const auto answer = [request, reply](const Outcome<std::vector<std::string>>& paths) {
      if (!paths) return reply(std::unexpected(paths.error()));
      ControlJSON stopped{{"paths", *paths}};
      if (!request.isAll) {
        stopped["bus"] = request.source >= 0 ? ControlJSON(request.source) : ControlJSON(nullptr);
        stopped["path"] = paths->front();
      }
      reply(stopped);
    };
    request.isAll ? control_.recordings().stopAll(answer)
                  : control_.recordings().stop(request.source, answer);
  });
}

void ControlMethods::addProfiles() {
  add("profiles", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.profiles().list()); });
  add("profile.save", readName,
      [this](const std::string& name) { return answer(control_.profiles().save(name)); });
  add("profile.apply", readName,
      [this](const std::string& name) { return answer(control_.profiles().apply(name)); });
  add("routing.apps", [this]() -> Outcome<ControlJSON> {
    return ControlJSON{{"apps", encodeRouting(control_.profiles().present())}};
  });
  add("profile.get", readName, [this](const std::string& name) -> Outcome<ControlJSON> {
    const auto apps = control_.profiles().entries(name);
    if (!apps) return std::unexpected(apps.error());
    return ControlJSON{{"name", name}, {"apps", encodeRouting(*apps)}};
  });
  add(
      "profile.put", [](ControlParams& p) { return std::pair(p.text("name"), p.any("apps")); },
      [this](const auto& v) -> Outcome<ControlJSON> {
        auto apps = decodeRouting(v.second);
        if (!apps) return std::unexpected(apps.error());
        return answer(control_.profiles().put(v.first, std::move(*apps)));
      });
  add("profile.delete", readName,
      [this](const std::string& name) { return answer(control_.profiles().remove(name)); });
}

void ControlMethods::addSettings() {
  const auto readKey = [](ControlParams& p) { return p.text("key"); };
  add("settings", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.settings().list()); });
  add("settings.get", readKey,
      [this](const std::string& key) { return answer(control_.settings().get(key)); });
  add(
      "settings.set",
      [](ControlParams& p) {
        const std::string key = p.text("key");
        const ControlJSON value = p.any("value");
        return std::tuple{key, value, p.flagOr("force", false)};
      },
      [this](const auto& v) -> Outcome<ControlJSON> {
        const auto& [key, json, force] = v;
        const auto value = settingsValueFromJSON(json.dump());
        if (!value) return std::unexpected(controlError(ControlFault::badValue, "\"value\" can't be stored"));
        return answer(control_.settings().set(key, *value, force));
      });
  add("settings.reset", readKey,
      [this](const std::string& key) { return answer(control_.settings().reset(key)); });
}

void ControlMethods::addMaintenance() {
  add("settings.export", [this]() -> Outcome<ControlJSON> {
    return ControlJSON{{"text", control_.maintenance().exportSettings()}};
  });
  add(
      "settings.import", [](ControlParams& p) { return p.text("text"); },
      [this](const std::string& text) -> Outcome<ControlJSON> {
        const auto notes = control_.maintenance().importSettings(text);
        if (!notes) return std::unexpected(notes.error());
        return ControlJSON{{"notes", *notes}};
      });
  add(
      "reset", [](ControlParams& p) { return p.text("part"); },
      [this](const std::string& name) -> Outcome<ControlJSON> {
        const auto part = settingsPartNamed(name);
        if (!part)
          return std::unexpected(
              controlError(ControlFault::badValue, "\"part\" must be routes, settings or all"));
        const auto done = control_.maintenance().reset(*part);
        if (!done) return std::unexpected(done.error());
        return ControlJSON::object();
      });
}

void ControlMethods::addRules() {
  add("rules", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.rules().list()); });
  add(
      "rule.add", [](ControlParams& p) { return std::pair(p.object("when"), p.object("act")); },
      [this](const auto& v) -> Outcome<ControlJSON> {
        const auto rule = decodeRule(v.first, v.second);
        if (!rule) return std::unexpected(rule.error());
        return answer(control_.rules().add(*rule));
      });
  const auto readRule = [](ControlParams& p) { return p.whole("rule"); };
  add("rule.remove", readRule, [this](int rule) { return answer(control_.rules().remove(rule)); });
  add(
      "rule.enable", [](ControlParams& p) { return std::pair(p.whole("rule"), p.flag("enabled")); },
      [this](const auto& v) { return answer(control_.rules().setEnabled(v.first, v.second)); });
}

ControlJSON ControlMethods::usage() const {
  const UsageCounts& usage = control_.usage();
  return {{"on", usage.isOn()}, {"since", usage.since()}, {"file", usage.file()}, {"counts", usage.counts()}};
}

void ControlMethods::addUsage() {
  add("usage", [this]() -> Outcome<ControlJSON> { return usage(); });
  add("usage.enable", readFlag("enabled"), [this](bool on) -> Outcome<ControlJSON> {
    control_.usage().setOn(on);
    if (on == control_.usage().isOn()) return usage();
    return std::unexpected(controlError(ControlFault::badValue,
                                        fmt::format("the setting {} forbids it", UsageCounts::kOptOutKey)));
  });
  add("usage.clear", [this]() -> Outcome<ControlJSON> {
    control_.usage().clear();
    return usage();
  });
}

void ControlMethods::addSubscriptions() {
  const auto readTopics = [](ControlParams& p) { return p.texts("topics"); };
  addLater("subscribe", readTopics, [](const auto& names, ControlPeer& peer, const Reply& reply) {
    const auto topics = topicsOf(names);
    if (!topics) return reply(std::unexpected(topics.error()));
    reply(peer.subscribe(*topics));
  });
  addLater("unsubscribe", readTopics, [](const auto& names, ControlPeer& peer, const Reply& reply) {
    const auto topics = topicsOf(names);
    if (!topics) return reply(std::unexpected(topics.error()));
    peer.unsubscribe(*topics);
    reply(ControlJSON::object());
  });
  addLater(
      "watch",
      [](ControlParams& p) {
        return std::tuple{p.flagOr("on", true), p.numberIf("rate").value_or(kMeterRate),
                          p.textIf("spectrum").value_or("")};
      },
      [this](const auto& v, ControlPeer& peer, const Reply& reply) {
        const auto& [on, rate, spectrum] = v;
        if (!(rate >= kSlowestMeters && rate <= kFastestMeters))
          return reply(std::unexpected(
              controlError(ControlFault::badValue,
                           fmt::format("\"rate\" must be {} to {}", kSlowestMeters, kFastestMeters))));
        const auto of = spectrumNamed(spectrum);
        if (!of) return reply(std::unexpected(of.error()));
        reply(ControlJSON::object());
        peer.watch(on ? std::optional(fromSeconds(1 / rate)) : std::nullopt, *of);
      });
}

// "output", "bus N" and an app's identifier stand for themselves.
Outcome<std::string> ControlMethods::spectrumNamed(const std::string& text) const {
  if (text.empty() || text == "output") return text;
  for (int bus = 0; bus < kBusCount; ++bus)
    if (isRoutableBus(bus) && text == fmt::format("bus {}", bus)) return text;
  const auto app = control_.apps().get(text);
  if (!app) return std::unexpected(app.error());
  return app->id;
}

bool ControlMethods::call(const std::string& name, const ControlJSON& params, ControlPeer& peer,
                          Reply reply) {
  const auto found = methods_.find(name);
  if (found == methods_.end()) return false;
  control_.usage().count(name);
  found->second.run({params, peer, std::move(reply)});
  // Whoever asked for it, everyone hears what came of it.
  control_.changes().markAll();
  return true;
}

ControlJSON ControlMethods::describe() const {
  ControlJSON all = ControlJSON::array();
  for (const auto& [name, method] : methods_) {
    ControlJSON parameters = ControlJSON::array();
    for (const ControlParameter& each : method.parameters)
      parameters.push_back({{"name", each.name}, {"type", each.kind}, {"required", each.isRequired}});
    all.push_back({{"method", name}, {"parameters", parameters}});
  }
  return all;
}

}  // namespace sonmere
