#include "cli/InputPrinter.h"

#include <fmt/format.h>

#include <cmath>

#include "audio/device/BusName.h"
#include "base/PrintableText.h"
#include "cli/JSONMembers.h"
#include "cli/RemotePrinter.h"
#include "cli/Text.h"
#include "cli/TextTable.h"

namespace sonmere {

namespace {

std::string percent(const ControlJSON& object) {
  return fmt::format("{:.0f} %", object.value("volume", 1.0) * 100);
}

std::string usedDevice(const ControlJSON& input) {
  for (const ControlJSON& device : input.value("devices", ControlJSON::array()))
    if (flag(device, "used"))
      return fmt::format("{}, {} channel{}", textOf(device, "name"), device.value("channels", 0),
                         device.value("channels", 0) == 1 ? "" : "s");
  return "none";
}

std::string stateText(const ControlJSON& input) {
  if (flag(input, "running")) {
    const double capture = input.value("captureRate", 0.0), bridge = input.value("bridgeRate", 0.0);
    if (capture != bridge) return fmt::format("on, converted from {:g} to {:g} Hz", capture, bridge);
    const double drift = input.value("driftPpm", 0.0);
    return fmt::format("on, at {:g} Hz, {:.1f} ms behind{}", capture, input.value("addedDelayMs", 0.0),
                       drift == 0 ? "" : fmt::format(", its clock {:+.0f} ppm off the bridge's", drift));
  }
  return flag(input, "enabled") ? "on, but not running" : "off";
}

std::string sendsText(const ControlJSON& input) {
  std::string out;
  const ControlJSON sends = input.value("sends", ControlJSON::object());
  for (const auto& [bus, volume] : sends.items())
    out += fmt::format("{}{} at {:.0f} %", out.empty() ? "" : ", ", busLabel(std::stoi(bus)),
                       double(volume) * 100);
  return out.empty() ? "none" : out;
}

std::string ceilingText(const ControlJSON& limiter) {
  return flag(limiter, "enabled") ? fmt::format("{:g} dB", limiter.value("ceilingDb", 0.0)) : "off";
}

}  // namespace

std::string microphoneText(const ControlJSON& input) {
  std::string out = fmt::format(
      "Microphone  {}\nDevice      {}{}\nChannels    {}\nVolume      {}\nEqualiser   {}\n"
      "Limiter     {}\nSends       {}\n",
      stateText(input), usedDevice(input), flag(input, "onFallback") ? " (until the chosen one is back)" : "",
      textOf(input, "channels"), percent(input),
      sectionsText(input.value("equaliser", ControlJSON::object())),
      ceilingText(input.value("limiter", ControlJSON::object())), sendsText(input));
  const auto extras = input.value("inputs", ControlJSON::array());
  if (!extras.empty()) out += fmt::format("Inputs      {} more\n", extras.size());
  if (const std::string device = textOf(input, "newDevice"); !device.empty())
    out += fmt::format("New         {} came up\n", device);
  if (const std::string error = textOf(input, "error"); !error.empty())
    out += fmt::format("Problem     {}\n", error);
  return out;
}

std::string inputsText(const ControlJSON& input) {
  constexpr auto kRight = TextTable::Align::right;
  TextTable extras({{"input"}, {"channel", kRight}, {"volume", kRight}, {"pan", kRight}, {"equaliser"}});
  for (const ControlJSON& each : input.value("inputs", ControlJSON::array()))
    extras.add({textOf(each, "name"), fmt::format("{}", each.value("channel", 0)),
                flag(each, "muted") ? "muted" : percent(each), fmt::format("{:+.2g}", each.value("pan", 0.0)),
                sectionsText(each.value("equaliser", ControlJSON::object()))});
  TextTable devices({{"device"}, {"channels", kRight}, {""}, {"identifier"}});
  for (const ControlJSON& each : input.value("devices", ControlJSON::array()))
    devices.add({textOf(each, "name"), fmt::format("{}", each.value("channels", 0)),
                 flag(each, "used")     ? "microphone"
                 : flag(each, "chosen") ? "chosen"
                                        : "",
                 textOf(each, "id")});
  const bool none = input.value("inputs", ControlJSON::array()).empty();
  return (none ? "No additional inputs.\n" : extras.text()) + "\n" + devices.text();
}

std::string inputLockText(const ControlJSON& input) {
  const ControlJSON lock = input.value("lock", ControlJSON::object());
  const std::string name = textOf(lock, "name");
  if (name.empty()) return "No device is chosen.\n";
  return fmt::format(
      "{}{}: {}{}\n", name, flag(lock, "present") ? "" : " (not connected)",
      flag(lock, "enabled") ? "kept as the default input" : "not kept",
      flag(lock, "backingOff") ? "; another program fights for it, so it is left alone for a while" : "");
}

}  // namespace sonmere
