#include "cli/RemotePrinter.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/EqualiserText.h"
#include "cli/JSONMembers.h"
#include "cli/Text.h"
#include "cli/TextTable.h"
#include "control/ControlCodec.h"

namespace sonmere {

namespace {

// The level's bar takes what the other columns of a wide terminal leave.
constexpr int kMostBar = 30;
constexpr int kLeastBar = 6;
constexpr int kBesideBar = 76;
constexpr auto kRight = TextTable::Align::right;
constexpr double kBarFloorDb = -60;
constexpr const char* kNoApps = "No audio-producing apps detected. Play audio in an app and refresh.\n";

std::optional<int> busOf(const ControlJSON& app) {
  const auto bus = app.find("bus");
  return bus != app.end() && bus->is_number() ? std::optional<int>(*bus) : std::nullopt;
}

// Where an app plays that has a device of its own; empty for one that has none, or whose device is away.
std::string deviceOf(const ControlJSON& app) {
  const ControlJSON output = app.value("output", ControlJSON::object());
  if (!output.is_object() || !flag(output, "playing")) return "";
  const int left = output.value("left", 1), right = output.value("right", 2);
  const std::string pair = left == 1 && right == 2 ? "" : fmt::format(" {}/{}", left, right);
  return textOf(output, "name") + pair;
}

// Of an app that waits for its device on its bus.
std::string awayOf(const ControlJSON& app) {
  const ControlJSON output = app.value("output", ControlJSON::object());
  const bool isAway = output.is_object() && !output.empty() && !flag(output, "playing");
  return isAway ? "waits for " + textOf(output, "name") : "";
}

std::string routeOf(const ControlJSON& app) {
  if (const std::string device = deviceOf(app); !device.empty()) return device;
  const auto bus = busOf(app);
  return bus ? busLabel(*bus) : textOf(app, "control");
}

std::string shortRouteOf(const ControlJSON& app) {
  if (const std::string device = deviceOf(app); !device.empty()) return device;
  const auto bus = busOf(app);
  return bus ? busName(*bus) : textOf(app, "control");
}

std::string volumeOf(const ControlJSON& app) {
  return flag(app, "muted") ? "muted" : fmt::format("{:.0f} %", number(app, "volume") * 100);
}

std::string peakOf(const ControlJSON& recording) {
  return flag(recording, "silent") ? "silent" : fmt::format("{:.1f} dB", number(recording, "peakDb"));
}

std::string lossOf(const ControlJSON& recording) {
  const double lost = number(recording, "lostFrames");
  return lost > 0 ? fmt::format("({:.0f} frames lost)", lost) : "";
}

std::string levelOf(const ControlJSON& app) {
  const auto level = app.find("levelDb");
  return level != app.end() && level->is_number() ? fmt::format("{:.1f} dB", double(*level)) : "-";
}

std::string bar(const ControlJSON& app, std::size_t width) {
  const auto level = app.find("levelDb");
  if (level == app.end() || !level->is_number()) return std::string(width, ' ');
  const double part = std::clamp((double(*level) - kBarFloorDb) / -kBarFloorDb, 0.0, 1.0);
  const auto filled = std::size_t(part * double(width) + 0.5);
  return std::string(filled, '#') + std::string(width - filled, '.');
}

std::string delayOf(const ControlJSON& app) { return fmt::format("{:.1f} ms", number(app, "addedDelayMs")); }

std::string reductionOf(const ControlJSON& app) {
  const double reduction = number(app, "gainReductionDb");
  return reduction > 0.05 ? fmt::format("-{:.1f} dB", reduction) : "-";
}

std::string flagsOf(const ControlJSON& app) {
  std::string flags;
  const auto add = [&](bool isSet, const char* name) {
    if (isSet) flags += (flags.empty() ? "" : ", ") + std::string(name);
  };
  add(!flag(app, "running"), flag(app, "routeWaits") ? "route waits for it" : "not playing");
  const std::string away = awayOf(app);
  add(!away.empty(), away.c_str());
  add(flag(app, "hidden"), "hidden");
  add(flag(app, "pinned"), "pinned");
  add(flag(app.value("equaliser", ControlJSON::object()), "enabled"), "eq");
  add(flag(app.value("limiter", ControlJSON::object()), "enabled"), "limiter");
  const double leftOut = number(app, "leftOutMs");
  add(leftOut >= 1, fmt::format("{:.0f} ms left out by the audio server", leftOut).c_str());
  return flags;
}

std::string joined(const ControlJSON& words) {
  std::string out;
  for (const ControlJSON& word : words)
    if (word.is_string()) out += (out.empty() ? "" : ", ") + printable(word.get_ref<const std::string&>());
  return out;
}

std::string nameOf(const ControlJSON& app) {
  return fmt::format("{} ({})", textOf(app, "name"), textOf(app, "id"));
}

// The sections as they are typed, and their curve.
std::string describeEqualiser(const ControlJSON& equaliser) {
  const auto settings = decodeEqualiser(equaliser);
  if (!settings) return "unknown\n";
  const std::string sections = equaliserSections(*settings);
  if (!settings->isEnabled)
    return sections == "flat" ? "equaliser off\n" : "equaliser off, " + sections + "\n";
  return "equaliser " + sections + "\n" + equaliserCurve(*settings);
}

std::string inputStatus(const ControlJSON& status) {
  const bool isOn = flag(status, "micEnabled");
  const std::string device = textOf(status, "micDevice");
  std::string out = fmt::format("Microphone {}", isOn ? "on" : "off");
  if (isOn && !flag(status, "micRunning")) out += ", but not running";
  if (isOn && !device.empty()) out += ", " + device;
  if (const double inputs = number(status, "additionalInputs"); inputs > 0)
    out += fmt::format(", {:.0f} more input{}", inputs, inputs == 1 ? "" : "s");
  if (const double plugins = number(status, "plugins"); plugins > 0)
    out += fmt::format("; {:.0f} plug-in{} in {:.0f} chain{}", plugins, plugins == 1 ? "" : "s",
                       number(status, "pluginChains"), number(status, "pluginChains") == 1 ? "" : "s");
  return out + ".\n";
}

}  // namespace

std::string statusText(const ControlJSON& status) {
  std::string out = fmt::format("Sonmere {} has been running for {:.0f} s on the {} audio server ({}).\n",
                                textOf(status, "version"), number(status, "uptimeSeconds"),
                                textOf(status, "platform"), textOf(status, "reason"));
  out += fmt::format("{:.0f} apps, {:.0f} playing, {:.0f} routed{}, {:.0f} in the per-app volume ({}).\n",
                     number(status, "apps"), number(status, "runningApps"), number(status, "routedApps"),
                     flag(status, "routingEnabled") ? "" : " (routing is off)", number(status, "mixedApps"),
                     flag(status, "mixerEnabled") ? "on" : "off");
  out += fmt::format("{:.0f} recordings.\n", number(status, "recordings"));
  out += inputStatus(status);
  for (const char* error : {"routingError", "mixerError", "recordingError", "micError", "pluginError"})
    if (const std::string why = textOf(status, error); !why.empty()) out += "Last error: " + why + "\n";
  for (const ControlJSON& notice : status.value("recordingNotices", ControlJSON::array()))
    if (notice.is_string()) out += "Recording: " + printable(notice.get_ref<const std::string&>()) + "\n";
  return out;
}

std::string appsText(const ControlJSON& apps) {
  if (apps.empty()) return kNoApps;
  TextTable table(
      {{"app"}, {"name"}, {"sound"}, {"volume", kRight}, {"level", kRight}, {"delay", kRight}, {""}});
  for (const ControlJSON& app : apps)
    table.add({textOf(app, "id"), textOf(app, "name"), routeOf(app), volumeOf(app), levelOf(app),
               delayOf(app), flagsOf(app)});
  return table.text();
}

std::string linesText(const ControlJSON& texts) {
  std::string out;
  for (const ControlJSON& each : texts)
    if (each.is_string()) out += printable(each.get_ref<const std::string&>()) + "\n";
  return out;
}

std::string appText(const ControlJSON& app) {
  const std::string flags = flagsOf(app);
  return fmt::format("{}: {}, {}{}{}\n", nameOf(app), volumeOf(app), routeOf(app), flags.empty() ? "" : ", ",
                     flags) +
         linesText(app.value("hints", ControlJSON::array()));
}

std::string mixerText(const ControlJSON& mixer) {
  return fmt::format(
      "Per-app volume {}, master {:.0f} %, boost {}, output equaliser {}{}\n",
      flag(mixer, "enabled") ? "on" : "off", number(mixer, "masterVolume") * 100,
      flag(mixer, "boostAllowed") ? "allowed" : "not allowed",
      flag(mixer.value("outputEqualiser", ControlJSON::object()), "enabled") ? "on" : "off",
      textOf(mixer, "outputDevice").empty() ? "" : ", playing on " + textOf(mixer, "outputDevice"));
}

std::string devicesText(const ControlJSON& devices) {
  TextTable table({{"device"}, {"name"}, {"in", kRight}, {"out", kRight}, {"rate", kRight}, {""}});
  for (const ControlJSON& device : devices)
    table.add({textOf(device, "id"), textOf(device, "name"), fmt::format("{:.0f}", number(device, "inputs")),
               fmt::format("{:.0f}", number(device, "outputs")),
               fmt::format("{:.0f} Hz", number(device, "sampleRate")),
               fmt::format("{}{}", flag(device, "defaultOutput") ? "default output " : "",
                           flag(device, "defaultInput") ? "default input" : "")});
  return table.text();
}

// Of a bus its name, of what comes beside the buses its word.
std::string recordedLabel(const ControlJSON& recording) {
  const auto bus = recording.find("bus");
  return bus != recording.end() && bus->is_number() ? busLabel(bus->get<int>()) : textOf(recording, "source");
}

std::string recordingsText(const ControlJSON& recordings) {
  if (recordings.empty()) return "Nothing is being recorded.\n";
  TextTable table({{"of"}, {"length", kRight}, {"frames", kRight}, {"peak", kRight}, {"file"}, {""}});
  for (const ControlJSON& recording : recordings)
    table.add({recordedLabel(recording), fmt::format("{:.1f} s", number(recording, "seconds")),
               fmt::format("{:.0f}", number(recording, "frames")), peakOf(recording),
               textOf(recording, "path"), lossOf(recording)});
  return table.text();
}

std::string prerollText(const ControlJSON& preroll) {
  std::string out;
  ControlJSON names = ControlJSON::array();
  for (const ControlJSON& source : preroll.value("sources", ControlJSON::array())) {
    const std::string text = source.get<std::string>();
    const bool isBus = text.find_first_not_of("0123456789") == text.npos;
    names.push_back(isBus ? busLabel(std::stoi(text)) : text);
  }
  if (!names.empty())
    out = fmt::format("Pre-roll: the last {:.0f} s of {} are kept, of {:.0f} s ({} of memory).\n",
                      number(preroll, "keptSeconds"), joined(names), number(preroll, "seconds"),
                      sizeText(std::uint64_t(number(preroll, "bytes"))));
  if (preroll.contains("refusal") && preroll["refusal"].is_string())
    out += "Pre-roll: " + printable(preroll["refusal"].get<std::string>()) + "\n";
  return out;
}

std::string recordingHealthText(const ControlJSON& health) {
  std::string out;
  for (const ControlJSON& notice : health.value("notices", ControlJSON::array()))
    if (notice.is_string()) out += printable(notice.get_ref<const std::string&>()) + "\n";
  for (const ControlJSON& failure : health.value("failures", ControlJSON::array()))
    out += fmt::format("{}  {}  failed at frame {:.0f}: {}\n", textOf(failure, "date"),
                       textOf(failure, "file"), number(failure, "atFrame"), textOf(failure, "error"));
  return out.empty() ? "All recordings of this run are well.\n" : out;
}

std::string profilesText(const ControlJSON& profiles) {
  if (profiles.empty()) return "There are no profiles.\n";
  TextTable table({{"profile"}, {"apps"}});
  for (const ControlJSON& profile : profiles)
    table.add({textOf(profile, "name"), joined(profile.value("apps", ControlJSON::array()))});
  return table.text();
}

std::string sectionsText(const ControlJSON& equaliser) {
  const auto settings = decodeEqualiser(equaliser);
  return settings && settings->isEnabled ? equaliserSections(*settings) : "off";
}

std::string equaliserText(const ControlJSON& app) {
  return nameOf(app) + ": " + describeEqualiser(app.value("equaliser", ControlJSON::object()));
}

std::string outputEqualiserText(const ControlJSON& mixer) {
  return "Output: " + describeEqualiser(mixer.value("outputEqualiser", ControlJSON::object()));
}

std::string limiterText(const ControlJSON& app) {
  const ControlJSON limiter = app.value("limiter", ControlJSON::object());
  const std::string ceiling = fmt::format("{:.1f} dB", number(limiter, "ceilingDb"));
  return fmt::format("{}: limiter {}\n", nameOf(app), flag(limiter, "enabled") ? "at " + ceiling : "off");
}

std::string levelsText(const ControlJSON& apps, int columns) {
  if (apps.empty()) return kNoApps;
  const auto width =
      std::size_t(columns > 0 ? std::clamp(columns - kBesideBar, kLeastBar, kMostBar) : kMostBar);
  TextTable table({{"app"},
                   {"sound"},
                   {"volume", kRight},
                   {"level", kRight},
                   {"", kRight},
                   {"limiter", kRight},
                   {"delay", kRight}});
  // Figures of one width, so that the columns stay where they are.
  for (const ControlJSON& app : apps)
    table.add({fmt::format("{:<16}", textOf(app, "name")), shortRouteOf(app), volumeOf(app), bar(app, width),
               fmt::format("{:>8}", levelOf(app)), fmt::format("{:>8}", reductionOf(app)),
               fmt::format("{:>8}", delayOf(app))});
  return table.text(columns);
}

}  // namespace sonmere
