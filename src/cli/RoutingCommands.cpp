#include "cli/RoutingCommands.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "cli/ArgumentText.h"
#include "cli/BusText.h"
#include "cli/EqualiserText.h"
#include "cli/GivenTrackNames.h"
#include "cli/JSONOutput.h"
#include "cli/RemoteCall.h"
#include "cli/RemotePrinter.h"
#include "cli/Text.h"
#include "control/ControlCodec.h"

namespace sonmere {

namespace {

struct Arguments {
  std::optional<std::string> onOff, bus, effect, value;
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

std::string ceilingText(const ControlJSON& limiter) {
  return flag(limiter, "enabled") ? fmt::format("{:g} dB", limiter.value("ceilingDb", 0.0)) : "off";
}

std::string busText(const ControlJSON& bus) {
  const auto given = bus.find("givenName");
  const bool isNamed = given != bus.end() && given->is_string();
  const std::string apps = listText(bus.value("apps", ControlJSON::array()));
  return fmt::format("{}{}: eq {}, limit {}, {}{}\n", busLabel(bus.value("bus", 0)),
                     isNamed ? " \"" + printable(given->get_ref<const std::string&>()) + "\"" : "",
                     sectionsText(bus.value("equaliser", ControlJSON::object())),
                     ceilingText(bus.value("limiter", ControlJSON::object())),
                     apps.empty() ? "no apps" : apps, flag(bus, "recording") ? ", recording" : "");
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
  if (!a->onOff) return show(call, a, "routing", ControlJSON::object(), nullptr, routingText);
  const auto on = readSwitch("routing", *a->onOff);
  return on ? show(call, a, "routing.enable", {{"enabled", *on}}, "routing", routingText)
            : call.fail(on.error());
}

int setEqualiser(const RemoteCall& call, const Given& a, int bus) {
  ControlJSON sections = nullptr;
  if (a->value != "off") {
    const auto settings = readEqualiser("SECTIONS", *a->value);
    if (!settings) return call.fail(settings.error());
    sections = encodeControl(*settings);
  }
  return show(call, a, "bus.equaliser", {{"bus", bus}, {"equaliser", sections}}, "bus", busText);
}

int setLimiter(const RemoteCall& call, const Given& a, int bus) {
  ControlJSON ceiling = nullptr;
  if (a->value != "off") {
    const auto read = readCeiling("DB", *a->value);
    if (!read) return call.fail(read.error());
    ceiling = *read;
  }
  return show(call, a, "bus.limiter", {{"bus", bus}, {"ceilingDb", ceiling}}, "bus", busText);
}

// "off" is the name of no Track.
int setName(const RemoteCall& call, const Given& a, int bus) {
  const std::string name = a->value == "off" ? "" : *a->value;
  return show(call, a, "bus.rename", {{"bus", bus}, {"name", name}}, nullptr, busText);
}

int setOf(const RemoteCall& call, const Given& a, int bus) {
  if (a->effect == "eq") return setEqualiser(call, a, bus);
  return a->effect == "limit" ? setLimiter(call, a, bus) : setName(call, a, bus);
}

int bus(const Given& a) {
  const RemoteCall call("bus");
  if (!a->bus) return show(call, a, "routing", ControlJSON::object(), nullptr, busesText);
  const auto number = readBus("BUS", *a->bus, givenTrackNames);
  if (!number) return call.fail(number.error());
  if (a->effect && a->effect != "eq" && a->effect != "limit" && a->effect != "name")
    return call.fail(badArgument(fmt::format("\"{}\" is none of eq, limit and name", *a->effect)).error());
  if (!a->value) return show(call, a, "bus", {{"bus", *number}}, nullptr, busText);
  return setOf(call, a, *number);
}

}  // namespace

void addRoutingCommands(CLI::App& app, std::function<int()>& run) {
  const auto a = std::make_shared<Arguments>();
  CLI::App* all = app.add_subcommand("routing", "Show the routing as a whole, or turn it on or off");
  all->add_option("on|off", a->onOff, "off stops every route and keeps it for later");
  all->add_flag("--json", a->json, "Print JSON");
  all->callback([a, &run] { run = [a] { return routing(a); }; });

  CLI::App* one = app.add_subcommand("bus", "Show the buses, or set the equaliser, limiter or name of one");
  one->add_option("BUS", a->bus, kBusForm);
  one->add_option("eq|limit|name", a->effect,
                  "What is shown or set: an effect on the sum of its apps, or what you call a Track");
  one->add_option(
      "SETTING", a->value,
      "Of eq any of hp:HZ, bell:HZ:DB:Q, lp:HZ with commas between; of limit -12 to 0 dB; or off");
  one->add_flag("--json", a->json, "Print JSON");
  one->callback([a, &run] { run = [a] { return bus(a); }; });
}

}  // namespace sonmere
