#include "cli/InputCommands.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <optional>

#include "cli/ArgumentText.h"
#include "cli/BusText.h"
#include "cli/EqualiserText.h"
#include "cli/GivenTrackNames.h"
#include "cli/InputPrinter.h"
#include "cli/JSONOutput.h"
#include "cli/MonitorCommands.h"
#include "cli/RemoteCall.h"
#include "cli/VolumeParams.h"
#include "control/ControlCodec.h"
#include "control/VolumeText.h"

namespace sonmere {

namespace {

struct Arguments {
  std::string first, second;
  std::optional<std::string> name, volume, pan, mute, equaliser, onOff;
  bool json = false;
};

using Given = std::shared_ptr<Arguments>;
using Print = std::string (*)(const ControlJSON&);

int show(const RemoteCall& call, const Given& a, const std::string& method, const ControlJSON& params,
         Print print) {
  return call.ask(method, params, [&](const ControlJSON& result) {
    const ControlJSON& input = method == "input" ? result : result.at("input");
    a->json ? printJSON(input) : fmt::print("{}", print(input));
  });
}

int showMic(const Given& a) {
  return show(RemoteCall("mic"), a, "input", ControlJSON::object(), microphoneText);
}

int change(const Given& a, const std::string& method, const ControlJSON& params) {
  return show(RemoteCall("mic"), a, method, params, microphoneText);
}

int changeVolume(const Given& a) {
  const auto volume = readVolumeParams(a->first);
  return volume ? change(a, "mic.volume", *volume) : RemoteCall("mic").fail(volume.error());
}

// The sections, or null for "off".
Outcome<ControlJSON> equaliserParams(const std::string& text) {
  if (text == "off") return ControlJSON(nullptr);
  const auto settings = readEqualiser("SECTIONS", text);
  if (!settings) return std::unexpected(settings.error());
  return encodeControl(*settings);
}

int changeEqualiser(const Given& a) {
  const auto sections = equaliserParams(a->first);
  return sections ? change(a, "mic.equaliser", {{"equaliser", *sections}})
                  : RemoteCall("mic").fail(sections.error());
}

int changeLimiter(const Given& a) {
  if (a->first == "off") return change(a, "mic.limiter", {{"ceilingDb", nullptr}});
  const auto ceiling = readCeiling("DB", a->first);
  return ceiling ? change(a, "mic.limiter", {{"ceilingDb", *ceiling}})
                 : RemoteCall("mic").fail(ceiling.error());
}

int changeSend(const Given& a) {
  const auto bus = readBus("BUS", a->first, givenTrackNames);
  if (!bus) return RemoteCall("mic").fail(bus.error());
  ControlJSON volume = nullptr;
  if (a->second != "off") {
    const auto level = readVolumeLevel("VOLUME", a->second);
    if (!level) return RemoteCall("mic").fail(level.error());
    volume = level->gain;
  }
  return change(a, "mic.send", {{"bus", *bus}, {"volume", volume}});
}

// What the options of an additional input say; the error names the one that is wrong.
Outcome<ControlJSON> extraParams(const Given& a) {
  ControlJSON params = ControlJSON::object();
  if (a->name) params["name"] = *a->name;
  if (a->volume) {
    const auto level = readVolumeLevel("--volume", *a->volume);
    if (!level) return std::unexpected(level.error());
    params["volume"] = level->gain;
  }
  if (a->pan) {
    const auto pan = readNumber(*a->pan);
    if (!pan || *pan < -1 || *pan > 1)
      return badArgument(fmt::format("--pan {}: use -1, all left, to 1, all right", *a->pan));
    params["pan"] = *pan;
  }
  if (a->mute) {
    const auto muted = readSwitch("--mute", *a->mute);
    if (!muted) return std::unexpected(muted.error());
    params["muted"] = *muted;
  }
  return params;
}

int input(const Given& a, const std::string& method, const ControlJSON& params) {
  return show(RemoteCall("input"), a, method, params, inputsText);
}

int addInput(const Given& a) {
  const RemoteCall call("input");
  auto params = extraParams(a);
  if (!params) return call.fail(params.error());
  const auto channel = readNumber(a->first);
  if (!channel || *channel < 1 || *channel != int(*channel))
    return call.fail(
        badArgument(fmt::format("CHANNEL {}: use the number of a channel, from 1", a->first)).error());
  (*params)["channel"] = int(*channel);
  return input(a, "input.add", *params);
}

int setInput(const Given& a) {
  const RemoteCall call("input");
  auto params = extraParams(a);
  if (!params) return call.fail(params.error());
  if (params->empty() && !a->equaliser)
    return call.fail(badArgument("nothing to set: use --name, --volume, --pan, --mute or --eq").error());
  if (a->equaliser) {
    const auto sections = equaliserParams(*a->equaliser);
    if (!sections) return call.fail(sections.error());
    const ControlJSON equaliser{{"input", a->first}, {"equaliser", *sections}};
    if (params->empty()) return input(a, "input.equaliser", equaliser);
    if (const int status = call.ask("input.equaliser", equaliser, [](const ControlJSON&) {}); status != 0)
      return status;
  }
  (*params)["input"] = a->first;
  return input(a, "input.set", *params);
}

int lock(const Given& a) {
  const RemoteCall call("input-lock");
  const auto ask = [&](const std::string& method, const ControlJSON& params) {
    return show(call, a, method, params, inputLockText);
  };
  if (!a->onOff) return ask("input", ControlJSON::object());
  if (a->onOff == "on" || a->onOff == "off") return ask("inputLock.enable", {{"enabled", a->onOff == "on"}});
  return ask("inputLock.select", {{"device", *a->onOff}});
}

// Builds one command after the other.
class Builder {
 public:
  Builder(CLI::App& app, std::function<int()>& run) : app_(app), run_(run) {}
  void addAll() {
    addMicrophone();
    addInputs();
    addLock();
  }

 private:
  CLI::App* add(CLI::App& parent, const char* name, const char* help, std::function<int(const Given&)> work) {
    CLI::App* command = parent.add_subcommand(name, help);
    command->add_flag("--json", a->json, "Print JSON");
    command->callback(
        [&run = run_, given = a, work = std::move(work)] { run = [given, work] { return work(given); }; });
    return command;
  }
  void addMicrophone();
  void addInputs();
  void addLock();
  void addExtraOptions(CLI::App* command);

  CLI::App& app_;
  std::function<int()>& run_;
  const Given a = std::make_shared<Arguments>();
};

void Builder::addMicrophone() {
  CLI::App* mic = app_.add_subcommand("mic", "Play the microphone into the bridge, and shape it");
  mic->require_subcommand(1);
  add(*mic, "status", "The microphone, its settings, and what hinders it", showMic);
  add(*mic, "on", "Turn it on, now and at the next start", [](const Given& given) {
    return change(given, "mic.enable", {{"enabled", true}});
  });
  add(*mic, "off", "Turn it off", [](const Given& given) {
    return change(given, "mic.enable", {{"enabled", false}});
  });
  add(*mic, "select", "Choose the input device",
      [](const Given& given) {
        return change(given, "mic.select", {{"device", given->first}});
      })
      ->add_option("DEVICE", a->first, "Its identifier or name, or any part that fits no other")
      ->required();
  add(*mic, "volume", "Set its volume", changeVolume)
      ->add_option("VOLUME", a->first, "A gain from 0 to 2, 50%, -6dB, or a step as +5% or -3dB+")
      ->required();
  add(*mic, "channels", "Choose which channels of the device are left and right",
      [](const Given& given) {
        return change(given, "mic.channels", {{"channels", given->first}});
      })
      ->add_option("auto|1|2|stereo", a->first,
                   "auto follows what is plugged in; or two channels from 1, as 3,4")
      ->required();
  add(*mic, "eq", "Set its equaliser, or turn it off", changeEqualiser)
      ->add_option("SECTIONS", a->first, "Any of hp:HZ, bell:HZ:DB:Q, lp:HZ with commas between, or off")
      ->required();
  add(*mic, "limit", "Set its limiter, or turn it off", changeLimiter)
      ->add_option("DB", a->first, "The ceiling, -12 to 0 dB, or off")
      ->required();
  add(*mic, "monitor", "Hear it yourself while it is on, as with monitor mic",
      [](const Given& given) { return hearMicrophone("mic", given->first, given->json); })
      ->add_option("on|off|VOLUME", a->first, "Whether it is heard, or how loud: 50%, 0.5 or -6dB")
      ->required();
  CLI::App* send = add(*mic, "send", "Send it to a Track too", changeSend);
  send->add_option("BUS", a->first, kBusForm)->required();
  send->add_option("VOLUME", a->second, "A gain from 0 to 2, 50%, -6dB, or off")->required();
}

void Builder::addExtraOptions(CLI::App* command) {
  command->add_option("--name", a->name, "What you call it");
  command->add_option("--volume", a->volume, "A gain from 0 to 2, 50% or -6dB");
  command->add_option("--pan", a->pan, "-1, all left, to 1, all right");
  command->add_option("--mute", a->mute, "on or off");
}

void Builder::addInputs() {
  CLI::App* inputs = app_.add_subcommand("input", "Further inputs of the microphone's device");
  inputs->require_subcommand(1);
  add(*inputs, "list", "The additional inputs, and the devices",
      [](const Given& given) { return input(given, "input", ControlJSON::object()); });
  CLI::App* added = add(*inputs, "add", "Mix a channel of the device into the microphone", addInput);
  added->add_option("CHANNEL", a->first, "Which channel of the device, from 1")->required();
  addExtraOptions(added);
  CLI::App* set = add(*inputs, "set", "Change an additional input", setInput);
  set->add_option("INPUT", a->first, "Its name, or any part that fits no other")->required();
  addExtraOptions(set);
  set->add_option("--eq", a->equaliser, "Any of hp:HZ, bell:HZ:DB:Q, lp:HZ with commas between, or off");
  add(*inputs, "remove", "Mix an additional input in no more",
      [](const Given& given) {
        return input(given, "input.remove", {{"input", given->first}});
      })
      ->add_option("INPUT", a->first, "Its name, or any part that fits no other")
      ->required();
}

void Builder::addLock() {
  add(app_, "input-lock", "Keep a device as the system's default input", lock)
      ->add_option("on|off|DEVICE", a->onOff,
                   "The device to keep, or whether it is kept; without, what is set");
}

}  // namespace

void addInputCommands(CLI::App& app, std::function<int()>& run) { Builder(app, run).addAll(); }

}  // namespace sonmere
