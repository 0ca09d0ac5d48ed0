#include "cli/RoutingCommands.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "cli/ArgumentText.h"
#include "cli/EqualiserText.h"
#include "cli/ExitStatus.h"
#include "cli/JSONOutput.h"
#include "cli/RemoteCall.h"
#include "cli/Text.h"
#include "control/ControlCodec.h"

namespace sonmere {

namespace {

struct Arguments {
  std::string onOff, bus, effect, value;
  bool json = false;
};

using Given = std::shared_ptr<const Arguments>;
using Print = std::string (*)(const ControlJSON&);

bool flag(const ControlJSON& object, const char* name) { return object.value(name, false); }

std::string listText(const ControlJSON& texts) {
  std::string out;
  for (const ControlJSON& each : texts)
    if (each.is_string()) out += (out.empty() ? "" : ", ") + printable(each.get_ref<const std::string&>());
  return out;
}

std::string equaliserText(const ControlJSON& s) {
  if (!flag(s, "enabled")) return "off";
  const auto number = [&](const char* name) { return s.value(name, 0.0); };
  return fmt::format("hp:{:g},bell:{:g}:{:g}:{:g},lp:{:g}", number("highPassHz"), number("bellHz"),
                     number("bellDb"), number("bellQ"), number("lowPassHz"));
}

std::string limiterText(const ControlJSON& limiter) {
  return flag(limiter, "enabled") ? fmt::format("{:g} dB", limiter.value("ceilingDb", 0.0)) : "off";
}

std::string busText(const ControlJSON& bus) {
  const int number = bus.value("bus", 0);
  const std::string apps = listText(bus.value("apps", ControlJSON::array()));
  return fmt::format("{} (bus {}): eq {}, limit {}, {}\n", busName(number), number,
                     equaliserText(bus.value("equaliser", ControlJSON::object())),
                     limiterText(bus.value("limiter", ControlJSON::object())),
                     apps.empty() ? "no apps" : apps);
}

std::string busesText(const ControlJSON& routing) {
  std::string out;
  for (const ControlJSON& bus : routing.value("buses", ControlJSON::array())) out += busText(bus);
  return out;
}

std::string routingText(const ControlJSON& routing) {
  std::string out = fmt::format("Routing is {}.\n", flag(routing, "enabled") ? "on" : "off");
  for (const ControlJSON& bus : routing.value("buses", ControlJSON::array()))
    if (!bus.value("apps", ControlJSON::array()).empty()) out += busText(bus);
  const std::string waiting = listText(routing.value("waiting", ControlJSON::array()));
  if (!waiting.empty()) out += "Waiting for its app: " + waiting + "\n";
  return out;
}

int show(const RemoteCall& call, const Given& a, const std::string& method, const ControlJSON& params,
         const char* member, Print print) {
  return call.ask(method, params, [&](const ControlJSON& result) {
    const ControlJSON& value = member ? result.at(member) : result;
    a->json ? printJSON(value) : fmt::print("{}", print(value));
  });
}

int routing(const Given& a) {
  const RemoteCall call("routing");
  if (a->onOff.empty()) return show(call, a, "routing", ControlJSON::object(), nullptr, routingText);
  if (a->onOff != "on" && a->onOff != "off")
    return call.tell(kExitBadInput, fmt::format("SWITCH: \"{}\" is neither on nor off", a->onOff));
  return show(call, a, "routing.enable", {{"enabled", a->onOff == "on"}}, "routing", routingText);
}

int setEqualiser(const RemoteCall& call, const Given& a, int bus) {
  ControlJSON sections = nullptr;
  if (a->value != "off") {
    const auto settings = readEqualiser("SECTIONS", a->value, RangeRule::pass);
    if (!settings) return call.fail(settings.error());
    sections = encodeControl(*settings);
  }
  return show(call, a, "bus.equaliser", {{"bus", bus}, {"equaliser", sections}}, "bus", busText);
}

int setLimiter(const RemoteCall& call, const Given& a, int bus) {
  const auto ceiling = readNumber(a->value);
  if (!ceiling && a->value != "off")
    return call.tell(kExitBadInput,
                     fmt::format("DB: \"{}\" is not a ceiling; use -12 to 0 dB, or off", a->value));
  const ControlJSON value = ceiling ? ControlJSON(*ceiling) : ControlJSON(nullptr);
  return show(call, a, "bus.limiter", {{"bus", bus}, {"ceilingDb", value}}, "bus", busText);
}

int bus(const Given& a) {
  const RemoteCall call("bus");
  if (a->bus.empty()) return show(call, a, "routing", ControlJSON::object(), nullptr, busesText);
  const auto number = readBus("BUS", a->bus);
  if (!number) return call.fail(number.error());
  if (!*number) return call.tell(kExitBadInput, "BUS: name one; 0 the bridge, 2 to 9 Track 1 to 8");
  if (a->effect.empty()) return show(call, a, "bus", {{"bus", **number}}, nullptr, busText);
  if (a->effect != "eq" && a->effect != "limit")
    return call.tell(kExitBadInput, fmt::format("EFFECT: \"{}\" is neither eq nor limit", a->effect));
  if (a->value.empty())
    return call.tell(kExitBadInput,
                     a->effect == "eq" ? "SECTIONS: say which, or off" : "DB: say which, or off");
  return a->effect == "eq" ? setEqualiser(call, a, **number) : setLimiter(call, a, **number);
}

}  // namespace

void addRoutingCommands(CLI::App& app, std::function<int()>& run) {
  const auto a = std::make_shared<Arguments>();
  CLI::App* all = app.add_subcommand("routing", "Show the routing as a whole, or turn it on or off");
  all->add_option("on|off", a->onOff, "off stops every route and keeps it for later");
  all->add_flag("--json", a->json, "Print JSON");
  all->callback([a, &run] { run = [a] { return routing(a); }; });

  CLI::App* one = app.add_subcommand("bus", "Show the buses, or set the equaliser or limiter of one");
  one->add_option("BUS", a->bus, "0 the bridge, 2 to 9 Track 1 to 8");
  one->add_option("eq|limit", a->effect, "What is set on the sum of its apps");
  one->add_option(
      "VALUE", a->value,
      "Of eq any of hp:HZ, bell:HZ:DB:Q, lp:HZ with commas between; of limit -12 to 0 dB; or off");
  one->add_flag("--json", a->json, "Print JSON");
  one->callback([a, &run] { run = [a] { return bus(a); }; });
}

}  // namespace sonmere
