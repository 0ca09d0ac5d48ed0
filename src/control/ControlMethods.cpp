#include "control/ControlMethods.h"

#include "control/ControlCodec.h"
#include "control/ControlParams.h"

namespace sonmere {

namespace {

// The value, or the error, as it is answered.
template <class T>
Outcome<ControlJSON> answer(const Outcome<T>& outcome) {
  if (!outcome) return std::unexpected(outcome.error());
  return encodeControl(*outcome);
}

// A method that reads its parameters with `read`, and then, if they are right, answers with `run`.
template <class Read, class Run>
auto method(Read read, Run run) {
  return [read, run](const ControlJSON& json, const ControlMethods::Reply& reply) {
    ControlParams params(json);
    const auto values = read(params);
    if (const auto finished = params.finish(); !finished) return reply(std::unexpected(finished.error()));
    reply(run(values));
  };
}

// A method without parameters.
template <class Run>
auto plain(Run run) {
  return method([](ControlParams&) { return 0; }, [run](int) { return run(); });
}

struct ForApp {
  std::string app;
};
template <class T>
struct ForAppWith {
  std::string app;
  T value;
};

VolumeRequest readVolume(ControlParams& params) {
  const bool isStep = params.has("step");
  return {float(params.number(isStep ? "step" : "volume")), isStep};
}

SwitchRequest readSwitch(ControlParams& params, const char* name) {
  if (params.flagOr("toggle", false)) return SwitchRequest::toggle;
  return params.flag(name) ? SwitchRequest::on : SwitchRequest::off;
}

auto readApp = [](ControlParams& params) { return ForApp{params.text("app")}; };

}  // namespace

ControlMethods::ControlMethods(Control& control) : control_(control) {
  addPrograms();
  addApps();
  addMixer();
  addRecordings();
  addProfiles();
}

void ControlMethods::addPrograms() {
  handlers_["status"] =
      plain([this]() -> Outcome<ControlJSON> { return encodeControl(control_.reports().status()); });
  handlers_["report"] = plain([this]() -> Outcome<ControlJSON> {
    return ControlJSON{{"text", control_.reports().report()}};
  });
  handlers_["devices"] = plain([this] { return answer(control_.devices().list()); });
  handlers_["methods"] = plain([this]() -> Outcome<ControlJSON> { return ControlJSON(names()); });
  handlers_["quit"] = plain([this]() -> Outcome<ControlJSON> {
    control_.quit();
    return ControlJSON::object();
  });
}

void ControlMethods::addApps() {
  handlers_["apps"] =
      plain([this]() -> Outcome<ControlJSON> { return encodeControl(control_.apps().list()); });
  handlers_["app"] = method(readApp, [this](const ForApp& v) { return answer(control_.apps().get(v.app)); });
  handlers_["volume"] = method(
      [](ControlParams& p) {
        return ForAppWith<VolumeRequest>{p.text("app"), readVolume(p)};
      },
      [this](const auto& v) { return answer(control_.apps().setVolume(v.app, v.value)); });
  handlers_["mute"] = method(
      [](ControlParams& p) {
        return ForAppWith<SwitchRequest>{p.text("app"), readSwitch(p, "muted")};
      },
      [this](const auto& v) { return answer(control_.apps().setMuted(v.app, v.value)); });
  handlers_["equaliser"] = method(
      [](ControlParams& p) {
        return ForAppWith<ControlJSON>{p.text("app"), p.object("equaliser")};
      },
      [this](const auto& v) -> Outcome<ControlJSON> {
        const auto settings = decodeEqualiser(v.value);
        if (!settings) return std::unexpected(settings.error());
        return answer(control_.apps().setEqualiser(v.app, *settings));
      });
  handlers_["limiter"] = method(
      [](ControlParams& p) {
        return ForAppWith<std::optional<double>>{p.text("app"), p.numberOrNull("ceilingDb")};
      },
      [this](const auto& v) { return answer(control_.apps().setLimiter(v.app, v.value)); });
  handlers_["direct"] = method(
      [](ControlParams& p) {
        return ForAppWith<bool>{p.text("app"), p.flag("direct")};
      },
      [this](const auto& v) { return answer(control_.apps().setDirect(v.app, v.value)); });
  handlers_["route"] = method(
      [](ControlParams& p) {
        return ForAppWith<std::optional<int>>{p.text("app"), p.wholeOrNull("bus")};
      },
      [this](const auto& v) { return answer(control_.apps().route(v.app, v.value)); });
  using Row = AppControl::Row;
  for (const auto& [name, change] : {std::pair{"hide", Row::hide},
                                     {"unhide", Row::unhide},
                                     {"pin", Row::pin},
                                     {"unpin", Row::unpin},
                                     {"remove", Row::remove}})
    handlers_[name] = method(
        readApp, [this, change](const ForApp& v) { return answer(control_.apps().setRow(v.app, change)); });
}

void ControlMethods::addMixer() {
  const auto flag = [](const char* name) { return [name](ControlParams& p) { return p.flag(name); }; };
  handlers_["mixer"] =
      plain([this]() -> Outcome<ControlJSON> { return encodeControl(control_.mixer().state()); });
  handlers_["mixer.enable"] =
      method(flag("enabled"), [this](bool on) { return answer(control_.mixer().setEnabled(on)); });
  handlers_["mixer.boost"] =
      method(flag("allowed"), [this](bool on) { return answer(control_.mixer().setBoostAllowed(on)); });
  handlers_["mixer.master"] =
      method(readVolume, [this](VolumeRequest v) { return answer(control_.mixer().setMaster(v)); });
  handlers_["mixer.outputEqualiser"] = method([](ControlParams& p) { return p.object("equaliser"); },
                                              [this](const ControlJSON& object) -> Outcome<ControlJSON> {
                                                const auto settings = decodeEqualiser(object);
                                                if (!settings) return std::unexpected(settings.error());
                                                return answer(control_.mixer().setOutputEqualiser(*settings));
                                              });
}

void ControlMethods::addRecordings() {
  handlers_["recordings"] =
      plain([this]() -> Outcome<ControlJSON> { return encodeControl(control_.recordings().list()); });
  handlers_["record.start"] = method([](ControlParams& p) { return p.whole("bus"); },
                                     [this](int bus) { return answer(control_.recordings().start(bus)); });
  handlers_["record.stop"] = [this](const ControlJSON& json, Reply reply) {
    ControlParams params(json);
    const int bus = params.whole("bus");
    if (const auto finished = params.finish(); !finished) return reply(std::unexpected(finished.error()));
    control_.recordings().stop(bus, [bus, reply = std::move(reply)](Outcome<std::string> path) {
      if (!path) return reply(std::unexpected(path.error()));
      reply(ControlJSON{{"bus", bus}, {"path", *path}});
    });
  };
}

void ControlMethods::addProfiles() {
  handlers_["profiles"] =
      plain([this]() -> Outcome<ControlJSON> { return encodeControl(control_.profiles().list()); });
  const auto readName = [](ControlParams& p) { return p.text("name"); };
  handlers_["profile.save"] =
      method(readName, [this](const std::string& name) { return answer(control_.profiles().save(name)); });
  handlers_["profile.apply"] =
      method(readName, [this](const std::string& name) { return answer(control_.profiles().apply(name)); });
  handlers_["profile.delete"] =
      method(readName, [this](const std::string& name) { return answer(control_.profiles().remove(name)); });
}

bool ControlMethods::call(const std::string& name, const ControlJSON& params, Reply reply) {
  const auto found = handlers_.find(name);
  if (found == handlers_.end()) return false;
  found->second(params, std::move(reply));
  return true;
}

std::vector<std::string> ControlMethods::names() const {
  std::vector<std::string> all;
  for (const auto& entry : handlers_) all.push_back(entry.first);
  return all;
}

}  // namespace sonmere
