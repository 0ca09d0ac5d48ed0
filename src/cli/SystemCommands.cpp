#include "cli/SystemCommands.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <optional>

#include "cli/ArgumentText.h"
#include "cli/JSONOutput.h"
#include "cli/RemoteCall.h"
#include "cli/SystemPrinter.h"
#include "cli/VolumeParams.h"

namespace sonmere {

namespace {

struct Arguments {
  std::string first, second;
  int track = 1;
  std::optional<std::string> device, value;
  std::vector<std::string> devices;
  std::optional<std::string> name;
  bool isOff = false;
  bool json = false;
};

using Given = std::shared_ptr<Arguments>;
using Print = std::string (*)(const ControlJSON&);

int show(const char* command, const Given& a, const std::string& method, const ControlJSON& params,
         const char* member, Print print) {
  return RemoteCall(command).ask(method, params, [&](const ControlJSON& result) {
    const ControlJSON& value = result.contains(member) ? result.at(member) : result;
    a->json ? printJSON(value) : fmt::print("{}", print(value));
  });
}

int daw(const Given& a, const char* method, const ControlJSON& params = ControlJSON::object()) {
  return show("daw", a, method, params, "daw", dawText);
}

int combine(const Given& a) {
  if (a->isOff && !a->devices.empty())
    return RemoteCall("combine").fail(badArgument("--off takes no devices").error());
  if (a->isOff) return show("combine", a, "combine.off", ControlJSON::object(), "daw", combinedText);
  if (a->devices.empty()) return show("combine", a, "daw", ControlJSON::object(), "daw", combinedText);
  ControlJSON params{{"devices", a->devices}};
  if (a->name) params["name"] = *a->name;
  return show("combine", a, "combine", params, "daw", combinedText);
}

int system(const Given& a, const char* method, const ControlJSON& params = ControlJSON::object()) {
  return show("system", a, method, params, "system", systemText);
}

int mix(const Given& a, const std::string& method, const ControlJSON& params = ControlJSON::object()) {
  return show("mix", a, method, params, "mix", mixText);
}

int systemOutput(const Given& a) {
  return a->device ? system(a, "system.select", {{"device", *a->device}}) : system(a, "system");
}

int systemFollow(const Given& a) {
  const auto on = readSwitch("follow", a->first);
  if (!on) return RemoteCall("system").fail(on.error());
  return system(a, "system.follow", {{"following", *on}});
}

// The text is a volume.
int mixVolume(const Given& a, const char* command, const std::string& method, const std::string& text,
              ControlJSON params) {
  const auto volume = readVolumeParams(text);
  if (!volume) return RemoteCall(command).fail(volume.error());
  params.update(*volume);
  return mix(a, method, params);
}

int mixSwitch(const Given& a, const char* what, const char* method, const std::string& text,
              const char* member = "enabled", ControlJSON params = ControlJSON::object()) {
  const auto on = readSwitch(what, text);
  if (!on) return RemoteCall("mix").fail(on.error());
  params[member] = *on;
  return mix(a, method, params);
}

int catchAll(const Given& a) {
  if (a->first == "on" || a->first == "off") return mixSwitch(a, "catch-all", "mix.catchAll", a->first);
  return mixVolume(a, "mix", "mix.catchAllVolume", a->first, ControlJSON::object());
}

// "mute" and "unmute", or a volume.
int dawTrack(const Given& a) {
  const ControlJSON track{{"track", a->track}};
  if (a->second != "mute" && a->second != "unmute")
    return mixVolume(a, "daw", "mix.trackVolume", a->second, track);
  ControlJSON params = track;
  params["muted"] = a->second == "mute";
  return mix(a, "mix.track", params);
}

// Adds a command of the group: its name, its help, and what it does.
auto adderTo(CLI::App& group, std::function<int()>& run, const Given& a) {
  return [&group, &run, a](const char* name, const char* help, std::function<int()> work) {
    CLI::App* command = group.add_subcommand(name, help);
    command->add_flag("--json", a->json, "Print JSON");
    command->callback([&run, work = std::move(work)] { run = work; });
    return command;
  };
}

void addDAW(CLI::App& app, std::function<int()>& run, const Given& a) {
  CLI::App* group = app.add_subcommand("daw", "The eight Tracks as one device of sixteen channels");
  group->require_subcommand(1);
  const auto add = adderTo(*group, run, a);
  add("status", "Whether it is there", [a] { return daw(a, "daw"); });
  add("on", "Make it, for every program to play into and record from", [a] {
    return daw(a, "daw.enable", {{"enabled", true}});
  });
  add("off", "Remove it, whoever uses it", [a] { return daw(a, "daw.enable", {{"enabled", false}}); });
  add("reset", "Make it anew", [a] { return daw(a, "daw.reset"); });
  CLI::App* track =
      add("track", "How Mix Mode plays a Track that other programs feed; recordings are not affected",
          [a] { return dawTrack(a); });
  track->add_option("N", a->track, "The Track, 1 to 8")->required();
  track->add_option("VOLUME|mute|unmute", a->second, "How loud: 50%, 0.5, -6dB, or a step as +5%")
      ->required();
}

void addSystem(CLI::App& app, std::function<int()>& run, const Given& a) {
  CLI::App* group =
      app.add_subcommand("system", "What the system plays, on an output and in the bridge at once");
  group->require_subcommand(1);
  const auto add = adderTo(*group, run, a);
  add("status", "Whether it is on, and where", [a] { return system(a, "system"); });
  add("on", "A device of both becomes the default output; ends Mix Mode", [a] {
    return system(a, "system.enable", {{"enabled", true}});
  });
  add("off", "The default output is your own again", [a] {
    return system(a, "system.enable", {{"enabled", false}});
  });
  add("output", "Show or choose the output that it plays on", [a] { return systemOutput(a); })
      ->add_option_function<std::string>(
          "OUTPUT", [a](const std::string& text) { a->device = text; },
          "Its identifier or name, or any part that fits no other");
  add("follow", "Whether it moves to an output that you make the default", [a] { return systemFollow(a); })
      ->add_option("on|off", a->first, "off: who chooses another default turns it off")
      ->required();
  add("reset", "Make it anew; while it is off remove what is left of it",
      [a] { return system(a, "system.reset"); });
}

void addMix(CLI::App& app, std::function<int()>& run, const Given& a) {
  CLI::App* group =
      app.add_subcommand("mix", "Mix Mode: hear on the monitor what a recording or a stream gets");
  group->require_subcommand(1);
  const auto add = adderTo(*group, run, a);
  const auto addApp = [a](CLI::App* command, const char* name, const char* help) {
    command->add_option("ID", a->first, "The app: its identifier or name, or any part that fits no other")
        ->required();
    command->add_option(name, a->second, help)->required();
  };
  constexpr const char* kVolumeHelp = "50%, 0.5, -6dB, or a step as +5%";
  add("status", "What is heard, and how loud", [a] { return mix(a, "mix"); });
  add("on", "Every routed app is heard on the monitor only; ends system audio", [a] {
    return mix(a, "mix.enable", {{"enabled", true}});
  });
  add("off", "Apps are heard as before", [a] { return mix(a, "mix.enable", {{"enabled", false}}); });
  addApp(add("hear", "How loud you hear an app",
             [a] {
               return mixVolume(a, "mix", "mix.hear", a->second, {{"app", a->first}});
             }),
         "VOLUME", kVolumeHelp);
  addApp(add("stream", "How loud others hear an app, and recordings have it",
             [a] {
               return mixVolume(a, "mix", "mix.stream", a->second, {{"app", a->first}});
             }),
         "VOLUME", kVolumeHelp);
  addApp(add("link", "Whether both are one",
             [a] {
               return mixSwitch(a, "link", "mix.link", a->second, "linked", {{"app", a->first}});
             }),
         "on|off", "off keeps the two apart");
  add("catch-all", "What is not routed, on the monitor too", [a] { return catchAll(a); })
      ->add_option("on|off|VOLUME", a->first, "Whether it is heard, or how loud: 50%, 0.5, -6dB")
      ->required();
  add("audition", "Hear every app as loud as others do, for now",
      [a] { return mixSwitch(a, "audition", "mix.audition", a->first); })
      ->add_option("on|off", a->first, "Never on from an earlier run")
      ->required();
  add("tracks", "Tracks that other programs feed, on the monitor too",
      [a] { return mixSwitch(a, "tracks", "mix.tracks", a->first); })
      ->add_option("on|off", a->first, "How loud each is, says daw track")
      ->required();
}

void addCombine(CLI::App& app, std::function<int()>& run, const Given& a) {
  CLI::App* command = app.add_subcommand("combine", "Show, make or remove one input device of several");
  command->add_option("DEVICE", a->devices, "Inputs, in the order of their channels, two at least")
      ->expected(-1);
  command->add_option("--name", a->name, "What it is called")->type_name("NAME");
  command->add_flag("--off", a->isOff, "Remove it");
  command->add_flag("--json", a->json, "Print JSON");
  command->callback([a, &run] { run = [a] { return combine(a); }; });
}

}  // namespace

void addSystemCommands(CLI::App& app, std::function<int()>& run) {
  const auto a = std::make_shared<Arguments>();
  addSystem(app, run, a);
  addMix(app, run, a);
  addDAW(app, run, a);
  addCombine(app, run, a);
}

}  // namespace sonmere
