#include "cli/MonitorCommands.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <optional>

#include "cli/ArgumentText.h"
#include "cli/BusText.h"
#include "cli/GivenTrackNames.h"
#include "cli/JSONOutput.h"
#include "cli/MonitorPrinter.h"
#include "cli/RemoteCall.h"
#include "cli/VolumeParams.h"

namespace sonmere {

namespace {

struct Arguments {
  std::string first, second;
  std::optional<std::string> device;
  bool json = false;
};

using Given = std::shared_ptr<Arguments>;

int show(const RemoteCall& call, bool json, const std::string& method, const ControlJSON& params) {
  return call.ask(method, params, [&](const ControlJSON& result) {
    const ControlJSON& monitor = method == "monitor" ? result : result.at("monitor");
    json ? printJSON(monitor) : fmt::print("{}", monitorText(monitor));
  });
}

int ask(const Given& a, const std::string& method, const ControlJSON& params = ControlJSON::object()) {
  return show(RemoteCall("monitor"), a->json, method, params);
}

// "on", "off" or a volume, of what `params` name; the method for volumes bears another name.
int changeSource(const RemoteCall& call, bool json, const std::string& method, ControlJSON params,
                 const std::string& what) {
  if (what == "on" || what == "off") {
    params["enabled"] = what == "on";
    return show(call, json, method, params);
  }
  const auto volume = readVolumeParams(what);
  if (!volume) return call.fail(volume.error());
  params.update(*volume);
  return show(call, json, method + "Volume", params);
}

int hearApp(const Given& a) {
  return changeSource(RemoteCall("monitor"), a->json, "monitor.app", {{"app", a->first}}, a->second);
}

int hearBus(const Given& a) {
  const RemoteCall call("monitor");
  const auto bus = readBus("BUS", a->first, givenTrackNames);
  if (!bus) return call.fail(bus.error());
  return changeSource(call, a->json, "monitor.bus", {{"bus", *bus}}, a->second);
}

int link(const Given& a) {
  const auto on = readSwitch("link", a->second);
  if (!on) return RemoteCall("monitor").fail(on.error());
  return ask(a, "monitor.link", {{"app", a->first}, {"linked", *on}});
}

int device(const Given& a) {
  if (!a->device) return ask(a, "monitor");
  if (a->device == "default") return ask(a, "monitor.follow");
  return ask(a, "monitor.select", {{"device", *a->device}});
}

constexpr const char* kSourceHelp = "Whether it is heard, or how loud: 50%, 0.5, -6dB, or a step as +5%";
constexpr const char* kAppHelp = "The app: its identifier or name, or any part that fits no other";

}  // namespace

int hearMicrophone(const char* command, const std::string& what, bool json) {
  return changeSource(RemoteCall(command), json, "monitor.mic", ControlJSON::object(), what);
}

void addMonitorCommands(CLI::App& app, std::function<int()>& run) {
  const auto a = std::make_shared<Arguments>();
  CLI::App* monitor =
      app.add_subcommand("monitor", "Hear what is routed into the virtual devices on a real one");
  monitor->require_subcommand(1);
  const auto add = [&](const char* name, const char* help, std::function<int(const Given&)> work) {
    CLI::App* command = monitor->add_subcommand(name, help);
    command->add_flag("--json", a->json, "Print JSON");
    command->callback([a, &run, work = std::move(work)] { run = [a, work] { return work(a); }; });
    return command;
  };
  add("status", "What is heard, and where", [](const Given& given) { return ask(given, "monitor"); });
  add("on", "Hear again what was chosen", [](const Given& given) {
    return ask(given, "monitor.enable", {{"enabled", true}});
  });
  add("off", "Hear nothing for now; apps play by themselves", [](const Given& given) {
    return ask(given, "monitor.enable", {{"enabled", false}});
  });
  add("device", "Show or choose the device that it plays on", device)
      ->add_option_function<std::string>(
          "OUTPUT|default", [a](const std::string& text) { a->device = text; },
          "Its identifier or name, or any part that fits no other; default follows the system's output");
  CLI::App* one = add("app", "Hear a routed app, which is silent on its own output then", hearApp);
  one->add_option("ID", a->first, kAppHelp)->required();
  one->add_option("on|off|VOLUME", a->second, kSourceHelp)->required();
  CLI::App* bus = add("bus", "Hear the sum of a bus", hearBus);
  bus->add_option("BUS", a->first, kBusForm)->required();
  bus->add_option("on|off|VOLUME", a->second, kSourceHelp)->required();
  add("mic", "Hear your own microphone while it is on",
      [](const Given& given) { return hearMicrophone("monitor", given->first, given->json); })
      ->add_option("on|off|VOLUME", a->first, kSourceHelp)
      ->required();
  CLI::App* linked = add("link", "Whether an app's volume on the monitor follows its own", link);
  linked->add_option("ID", a->first, kAppHelp)->required();
  linked->add_option("on|off", a->second, "off keeps the two apart")->required();
}

}  // namespace sonmere
