#include "control/ControlMethods.h"

#include <fmt/format.h>

#include "control/ControlCodec.h"
#include "control/PluginCodec.h"
#include "control/RuleCodec.h"
#include "control/SettingsCodec.h"
#include "control/SystemCodec.h"
#include "recording/RecordedSource.h"

namespace sonmere {

namespace {

// The value, or the error, as it is answered.
template <class T>
Outcome<ControlJSON> answer(const Outcome<T>& outcome) {
  if (!outcome) return std::unexpected(outcome.error());
  return encodeControl(*outcome);
}

template <class T>
struct ForApp {
  std::string app;
  T value;
};

// The app, and what `read` reads.
template <class Read>
auto forApp(Read read) {
  return [read](ControlParams& params) {
    std::string app = params.text("app");
    return ForApp<decltype(read(params))>{std::move(app), read(params)};
  };
}

auto readApp = [](ControlParams& params) { return params.text("app"); };
auto readName = [](ControlParams& params) { return params.text("name"); };
auto readBus = [](ControlParams& params) { return params.whole("bus"); };
auto readEqualiser = [](ControlParams& params) { return params.object("equaliser"); };

auto readFlag(const char* name) {
  return [name](ControlParams& params) { return params.flag(name); };
}

// A scope of plug-ins, one of its plug-ins, and what `read` reads.
template <class T>
struct ForPlugin {
  std::string scope, plugin;
  T value;
};

template <class Read>
auto forPlugin(Read read) {
  return [read](ControlParams& params) {
    std::string scope = params.text("scope"), plugin = params.text("plugin");
    return ForPlugin<decltype(read(params))>{std::move(scope), std::move(plugin), read(params)};
  };
}

// Answers when it has come.
template <class T>
auto answerLater(const ControlMethods::Reply& reply) {
  return [reply](const Outcome<T>& outcome) { reply(answer(outcome)); };
}

struct StartRequest {
  RecordingControl::Start start;
  bool isList = false;  // so is the answer
};

StartRequest readStart(ControlParams& params) {
  StartRequest request;
  std::vector<int>& sources = request.start.sources;
  request.start.layout = params.textIf("layout");
  request.start.format = params.textIf("format");
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

VolumeRequest readVolume(ControlParams& params) {
  using Kind = VolumeRequest::Kind;
  if (const auto step = params.numberIf("step")) return {float(*step), Kind::step};
  if (const auto step = params.numberIf("stepDb")) return {float(*step), Kind::decibelStep};
  const double volume = params.number("volume");
  params.hasAlternative();
  return {float(volume), Kind::level};
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

template <class Read, class Run>
void ControlMethods::addLater(const std::string& name, Read read, Run run) {
  const ControlJSON none = ControlJSON::object();
  ControlParams blank(none);
  read(blank);
  const auto work = [read, run](const Call& call) {
    ControlParams params(call.params);
    const auto values = read(params);
    if (const auto finished = params.finish(); !finished)
      return call.reply(std::unexpected(finished.error()));
    run(values, call.peer, call.reply);
  };
  methods_[name] = {work, blank.asked()};
}

template <class Read, class Run>
void ControlMethods::add(const std::string& name, Read read, Run run) {
  addLater(name, read, [run](const auto& values, ControlPeer&, const Reply& reply) { reply(run(values)); });
}

template <class Run>
void ControlMethods::add(const std::string& name, Run run) {
  add(
      name, [](ControlParams&) { return 0; }, [run](int) { return run(); });
}

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

namespace {

struct ExtraRequest {
  std::string input;
  InputControl::ExtraEdit edit;
};

// What is left out stays.
InputControl::ExtraEdit readExtraEdit(ControlParams& p) {
  InputControl::ExtraEdit edit;
  edit.name = p.textIf("name");
  edit.channel = p.wholeIf("channel");
  if (const auto volume = p.numberIf("volume")) edit.volume = float(*volume);
  if (const auto pan = p.numberIf("pan")) edit.pan = float(*pan);
  edit.isMuted = p.flagIf("muted");
  return edit;
}

}  // namespace

void ControlMethods::addInput() {
  add("input", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.input().state()); });
  add("mic.enable", readFlag("enabled"), [this](bool on) { return answer(control_.input().setEnabled(on)); });
  add(
      "mic.select", [](ControlParams& p) { return p.text("device"); },
      [this](const std::string& device) { return answer(control_.input().select(device)); });
  add("mic.volume", readVolume,
      [this](VolumeRequest request) { return answer(control_.input().setVolume(request)); });
  add(
      "mic.channels", [](ControlParams& p) { return p.text("channels"); },
      [this](const std::string& channels) { return answer(control_.input().setChannels(channels)); });
  add("mic.equaliser", readEqualiser, [this](const ControlJSON& object) -> Outcome<ControlJSON> {
    const auto settings = decodeEqualiser(object);
    if (!settings) return std::unexpected(settings.error());
    return answer(control_.input().setEqualiser(*settings));
  });
  add(
      "mic.limiter", [](ControlParams& p) { return p.numberOrNull("ceilingDb"); },
      [this](const std::optional<double>& ceiling) { return answer(control_.input().setLimiter(ceiling)); });
  add(
      "mic.send", [](ControlParams& p) { return std::pair(p.whole("bus"), p.numberOrNull("volume")); },
      [this](const auto& v) {
        return answer(
            control_.input().setSend(v.first, v.second ? std::optional(float(*v.second)) : std::nullopt));
      });
  addExtraInputs();
  add("inputLock.enable", readFlag("enabled"),
      [this](bool on) { return answer(control_.input().setLock(on)); });
  add(
      "inputLock.select", [](ControlParams& p) { return p.text("device"); },
      [this](const std::string& device) { return answer(control_.input().lockTo(device)); });
}

void ControlMethods::addExtraInputs() {
  add("input.add", readExtraEdit,
      [this](const auto& edit) { return answer(control_.input().addExtra(edit)); });
  add(
      "input.set",
      [](ControlParams& p) {
        std::string input = p.text("input");
        return ExtraRequest{std::move(input), readExtraEdit(p)};
      },
      [this](const ExtraRequest& request) {
        return answer(control_.input().changeExtra(request.input, request.edit));
      });
  add(
      "input.equaliser", [](ControlParams& p) { return std::pair(p.text("input"), p.object("equaliser")); },
      [this](const auto& v) -> Outcome<ControlJSON> {
        const auto settings = decodeEqualiser(v.second);
        if (!settings) return std::unexpected(settings.error());
        InputControl::ExtraEdit edit;
        edit.equaliser = *settings;
        return answer(control_.input().changeExtra(v.first, edit));
      });
  add(
      "input.remove", [](ControlParams& p) { return p.text("input"); },
      [this](const std::string& input) { return answer(control_.input().removeExtra(input)); });
}

void ControlMethods::addMonitor() {
  add("monitor", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.monitor().state()); });
  add("monitor.enable", readFlag("enabled"),
      [this](bool on) { return answer(control_.monitor().setEnabled(on)); });
  add(
      "monitor.select", [](ControlParams& p) { return p.text("device"); },
      [this](const std::string& device) { return answer(control_.monitor().select(device)); });
  add("monitor.follow", [this] { return answer(control_.monitor().followDefault()); });
  add("monitor.app", forApp(readFlag("enabled")),
      [this](const auto& v) { return answer(control_.monitor().setApp(v.app, v.value)); });
  add("monitor.appVolume", forApp(readVolume),
      [this](const auto& v) { return answer(control_.monitor().setAppVolume(v.app, v.value)); });
  add("monitor.link", forApp(readFlag("linked")),
      [this](const auto& v) { return answer(control_.monitor().setLinked(v.app, v.value)); });
  add(
      "monitor.bus", [](ControlParams& p) { return std::pair(p.whole("bus"), p.flag("enabled")); },
      [this](const auto& v) { return answer(control_.monitor().setBus(v.first, v.second)); });
  add(
      "monitor.busVolume",
      [](ControlParams& p) {
        const int bus = p.whole("bus");
        return std::pair(bus, readVolume(p));
      },
      [this](const auto& v) { return answer(control_.monitor().setBusVolume(v.first, v.second)); });
  add("monitor.mic", readFlag("enabled"),
      [this](bool on) { return answer(control_.monitor().setMicrophone(on)); });
  add("monitor.micVolume", readVolume,
      [this](VolumeRequest request) { return answer(control_.monitor().setMicrophoneVolume(request)); });
}

void ControlMethods::addDAW() {
  add("daw", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.daw().state()); });
  add("daw.enable", readFlag("enabled"), [this](bool on) { return answer(control_.daw().setEnabled(on)); });
  add("daw.reset", [this] { return answer(control_.daw().reset()); });
  add(
      "combine", [](ControlParams& p) { return std::pair(p.texts("devices"), p.textIf("name")); },
      [this](const auto& v) { return answer(control_.daw().combine(v.first, v.second)); });
  add("combine.off", [this] { return answer(control_.daw().separate()); });
}

void ControlMethods::addSystem() {
  add("system", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.system().state()); });
  add("system.enable", readFlag("enabled"),
      [this](bool on) { return answer(control_.system().setEnabled(on)); });
  add(
      "system.select", [](ControlParams& p) { return p.text("device"); },
      [this](const std::string& device) { return answer(control_.system().select(device)); });
  add("system.follow", readFlag("following"),
      [this](bool on) { return answer(control_.system().setFollowing(on)); });
  add("system.reset", [this] { return answer(control_.system().reset()); });
}

void ControlMethods::addMix() {
  add("mix", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.mix().state()); });
  add("mix.enable", readFlag("enabled"), [this](bool on) { return answer(control_.mix().setEnabled(on)); });
  add("mix.hear", forApp(readVolume),
      [this](const auto& v) { return answer(control_.mix().setHear(v.app, v.value)); });
  add("mix.stream", forApp(readVolume),
      [this](const auto& v) { return answer(control_.mix().setStream(v.app, v.value)); });
  add("mix.link", forApp(readFlag("linked")),
      [this](const auto& v) { return answer(control_.mix().setLinked(v.app, v.value)); });
  add("mix.catchAll", readFlag("enabled"),
      [this](bool on) { return answer(control_.mix().setCatchAll(on)); });
  add("mix.catchAllVolume", readVolume,
      [this](VolumeRequest request) { return answer(control_.mix().setCatchAllVolume(request)); });
  add("mix.audition", readFlag("enabled"),
      [this](bool on) { return answer(control_.mix().setAudition(on)); });
  add("mix.tracks", readFlag("enabled"),
      [this](bool on) { return answer(control_.mix().setHearsTracks(on)); });
  add(
      "mix.track", [](ControlParams& p) { return std::pair(p.whole("track"), p.flag("muted")); },
      [this](const auto& v) { return answer(control_.mix().setTrackMuted(v.first, v.second)); });
  add(
      "mix.trackVolume",
      [](ControlParams& p) {
        const int track = p.whole("track");
        return std::pair(track, readVolume(p));
      },
      [this](const auto& v) { return answer(control_.mix().setTrackVolume(v.first, v.second)); });
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

void ControlMethods::addPlugins() {
  add("plugins", [this]() -> Outcome<ControlJSON> { return encodeControl(control_.plugins().overview()); });
  addLater(
      "plugins.available", [](ControlParams& p) { return p.textIf("search").value_or(""); },
      [this](const std::string& search, ControlPeer&, const Reply& reply) {
        control_.plugins().available(search, answerLater<std::vector<PluginOffer>>(reply));
      });
  addLater(
      "plugin.info",
      [](ControlParams& p) { return std::pair(p.text("plugin"), p.textIf("scope").value_or("")); },
      [this](const auto& v, ControlPeer&, const Reply& reply) {
        control_.plugins().info(v.first, v.second, answerLater<PluginInfo>(reply));
      });
  add(
      "plugin.chain", [](ControlParams& p) { return p.text("scope"); },
      [this](const std::string& scope) { return answer(control_.plugins().chain(scope)); });
  add(
      "plugin.trust", [](ControlParams& p) { return std::pair(p.text("scope"), p.flag("trusted")); },
      [this](const auto& v) { return answer(control_.plugins().setTrusted(v.first, v.second)); });
  const auto readPath = [](ControlParams& p) { return std::pair(p.text("scope"), p.text("path")); };
  addLater("plugin.save", readPath, [this](const auto& v, ControlPeer&, const Reply& reply) {
    control_.plugins().save(v.first, v.second, answerLater<PluginChainState>(reply));
  });
  add("plugin.load", readPath,
      [this](const auto& v) { return answer(control_.plugins().load(v.first, v.second)); });
}

void ControlMethods::addPluginActs() {
  const auto none = [](ControlParams&) { return 0; };
  addLater("plugin.add", forPlugin([](ControlParams& p) { return p.wholeIf("position"); }),
           [this](const auto& v, ControlPeer&, const Reply& reply) {
             control_.plugins().add(v.scope, v.plugin, v.value, answerLater<PluginChainState>(reply));
           });
  add("plugin.remove", forPlugin(none),
      [this](const auto& v) { return answer(control_.plugins().remove(v.scope, v.plugin)); });
  add("plugin.move", forPlugin([](ControlParams& p) { return p.whole("position"); }),
      [this](const auto& v) { return answer(control_.plugins().move(v.scope, v.plugin, v.value)); });
  add("plugin.bypass", forPlugin(readFlag("bypassed")),
      [this](const auto& v) { return answer(control_.plugins().setBypassed(v.scope, v.plugin, v.value)); });
  addLater("plugin.set",
           forPlugin([](ControlParams& p) { return std::pair(p.text("control"), p.text("value")); }),
           [this](const auto& v, ControlPeer&, const Reply& reply) {
             control_.plugins().setControl(v.scope, v.plugin, v.value.first, v.value.second,
                                           answerLater<PluginChainState>(reply));
           });
  addLater("plugin.preset", forPlugin([](ControlParams& p) { return p.text("preset"); }),
           [this](const auto& v, ControlPeer&, const Reply& reply) {
             control_.plugins().setPreset(v.scope, v.plugin, v.value, answerLater<PluginChainState>(reply));
           });
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
