#include "control/RuleCodec.h"

#include <fmt/format.h>

#include <array>
#include <cmath>

#include "audio/device/BusName.h"
#include "audio/device/BusTable.h"
#include "base/PrintableText.h"
#include "base/SettingsLevels.h"
#include "control/CodecValues.h"
#include "control/ControlError.h"

namespace sonmere {

namespace {

constexpr std::array kReasons{"app", "device", "mic"};
constexpr std::array kActs{"profile", "route", "volume", "mute"};
constexpr std::size_t kLongestSubject = 500, kMostApps = 1000;
constexpr double kLoudest = 4;

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(controlError(ControlFault::badValue, std::move(text)));
}

std::string text(const ControlJSON& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

template <class Names>
std::optional<int> indexOf(const Names& names, const std::string& word) {
  for (std::size_t i = 0; i < names.size(); ++i)
    if (word == names[i]) return int(i);
  return std::nullopt;
}

Outcome<std::string> subject(const ControlJSON& object, const char* name) {
  const std::string given = text(object, name);
  if (given.empty() || given.size() > kLongestSubject || printable(given) != given)
    return refuse(fmt::format("\"{}\" must be a text of one line", name));
  return given;
}

bool isVolume(const ControlJSON& value) {
  return value.is_number() && value.get<double>() >= 0 && value.get<double>() <= kLoudest;
}

bool isBus(const ControlJSON& value) {
  return value.is_number_integer() && value.get<std::int64_t>() >= 0 &&
         value.get<std::int64_t>() < kBusCount && isRoutableBus(value.get<int>());
}

Outcome<RuleReason> decodeReason(const ControlJSON& when) {
  const auto kind = indexOf(kReasons, text(when, "kind"));
  if (!kind) return refuse("\"kind\" of \"when\" must be app, device or mic");
  RuleReason reason{RuleReason::Kind(*kind), ""};
  if (reason.kind == RuleReason::Kind::mic) return reason;
  auto given = subject(when, "subject");
  if (!given) return std::unexpected(given.error());
  reason.subject = std::move(*given);
  return reason;
}

Outcome<RuleAct> decodeAct(const ControlJSON& object) {
  const auto kind = indexOf(kActs, text(object, "kind"));
  if (!kind) return refuse("\"kind\" of \"act\" must be profile, route, volume or mute");
  RuleAct act;
  act.kind = RuleAct::Kind(*kind);
  auto target = subject(object, "target");
  if (!target) return std::unexpected(target.error());
  act.target = std::move(*target);
  const ControlJSON bus = object.value("bus", ControlJSON()), volume = object.value("volume", ControlJSON()),
                    muted = object.value("muted", ControlJSON(true));
  if (act.kind == RuleAct::Kind::route && !bus.is_null()) {
    if (!isBus(bus)) return refuse("\"bus\" is none that apps route to");
    act.bus = bus.get<int>();
  }
  if (act.kind == RuleAct::Kind::volume) {
    if (!isVolume(volume)) return refuse("\"volume\" must be 0 to 4");
    act.volume = volume.get<float>();
  }
  if (!muted.is_boolean()) return refuse("\"muted\" must be true or false");
  act.isMuted = muted.get<bool>();
  return act;
}

ControlJSON encodeAct(const RuleAct& act) {
  ControlJSON object{{"kind", kActs.at(std::size_t(act.kind))}, {"target", act.target}};
  if (act.kind == RuleAct::Kind::route) object["bus"] = orNull(act.bus);
  if (act.kind == RuleAct::Kind::volume) object["volume"] = shortest(act.volume);
  if (act.kind == RuleAct::Kind::mute) object["muted"] = act.isMuted;
  return object;
}

}  // namespace

std::string reasonText(const RuleReason& reason) {
  if (reason.kind == RuleReason::Kind::mic) return "mic=on";
  return fmt::format("{}={}", kReasons.at(std::size_t(reason.kind)), reason.subject);
}

std::string actText(const RuleAct& act) {
  switch (act.kind) {
    case RuleAct::Kind::profile:
      return "profile apply " + act.target;
    case RuleAct::Kind::route:
      return fmt::format("route {} {}", act.target, act.bus ? busWord(*act.bus) : "off");
    case RuleAct::Kind::volume:
      return fmt::format("volume {} {:g}%", act.target, std::round(double(act.volume) * 1000) / 10);
    case RuleAct::Kind::mute:
      return fmt::format("mute {} {}", act.target, act.isMuted ? "on" : "off");
  }
  return "";
}

ControlJSON encodeControl(const Rule& rule) {
  ControlJSON when{{"kind", kReasons.at(std::size_t(rule.when.kind))}};
  if (!rule.when.subject.empty()) when["subject"] = rule.when.subject;
  return {{"rule", rule.id}, {"when", when}, {"act", encodeAct(rule.act)}, {"enabled", rule.isEnabled}};
}

ControlJSON encodeControl(const RuleState& state) {
  ControlJSON object = encodeControl(state.rule);
  object["reason"] = reasonText(state.rule.when);
  object["does"] = actText(state.rule.act);
  object["active"] = state.isActive;
  object["problem"] = orNull(state.problem);
  return object;
}

Outcome<Rule> decodeRule(const ControlJSON& when, const ControlJSON& act) {
  auto reason = decodeReason(when);
  if (!reason) return std::unexpected(reason.error());
  auto done = decodeAct(act);
  if (!done) return std::unexpected(done.error());
  return Rule{0, std::move(*reason), std::move(*done), true};
}

ControlJSON encodeRouting(const std::vector<AppProfileEntry>& apps) {
  ControlJSON list = ControlJSON::array();
  for (const AppProfileEntry& each : apps)
    list.push_back({{"app", each.bundleID},
                    {"bus", each.busIndex},
                    {"volume", shortest(each.volume)},
                    {"muted", each.isMuted}});
  return list;
}

Outcome<std::vector<AppProfileEntry>> decodeRouting(const ControlJSON& apps) {
  if (!apps.is_array() || apps.size() > kMostApps) return refuse("\"apps\" must be a list of routed apps");
  std::vector<AppProfileEntry> routing;
  for (const ControlJSON& each : apps) {
    if (!each.is_object()) return refuse("\"apps\" must be a list of objects");
    auto app = subject(each, "app");
    if (!app) return std::unexpected(app.error());
    const ControlJSON bus = each.value("bus", ControlJSON()), volume = each.value("volume", ControlJSON(1)),
                      muted = each.value("muted", ControlJSON(false));
    if (!isBus(bus) || !isVolume(volume) || !muted.is_boolean())
      return refuse(fmt::format("the route of \"{}\" can't be used", *app));
    routing.push_back({std::move(*app), volume.get<float>(), muted.get<bool>(), bus.get<int>()});
  }
  return routing;
}

std::string encodeRules(const std::vector<Rule>& rules) {
  ControlJSON list = ControlJSON::array();
  for (const Rule& rule : rules) list.push_back(encodeControl(rule));
  return list.dump();
}

std::vector<Rule> decodeRules(const std::string& json) {
  if (isNestedTooDeeply(json)) return {};
  const ControlJSON list = ControlJSON::parse(json, nullptr, false);
  std::vector<Rule> rules;
  if (!list.is_array()) return rules;
  for (const ControlJSON& each : list) {
    if (!each.is_object()) continue;
    auto rule =
        decodeRule(each.value("when", ControlJSON::object()), each.value("act", ControlJSON::object()));
    const ControlJSON id = each.value("rule", ControlJSON());
    if (!rule || !id.is_number_integer()) continue;
    rule->id = id.get<int>();
    rule->isEnabled = each.value("enabled", ControlJSON(true)) != false;
    rules.push_back(std::move(*rule));
  }
  return rules;
}

}  // namespace sonmere
