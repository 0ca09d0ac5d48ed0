#include "cli/RemotePrinter.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/Text.h"

namespace sonmere {

namespace {

constexpr int kBarWidth = 30;
constexpr double kBarFloorDb = -60;

std::string text(const ControlJSON& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? printable(found->get_ref<const std::string&>()) : "";
}

double number(const ControlJSON& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_number() ? double(*found) : 0.0;
}

bool flag(const ControlJSON& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_boolean() && bool(*found);
}

std::string routeOf(const ControlJSON& app) {
  const auto bus = app.find("bus");
  return bus != app.end() && bus->is_number() ? busName(*bus) : text(app, "control");
}

std::string volumeOf(const ControlJSON& app) {
  return flag(app, "muted") ? "muted" : fmt::format("{:.0f} %", number(app, "volume") * 100);
}

std::string peakOf(const ControlJSON& recording) {
  return flag(recording, "silent") ? "silent" : fmt::format("{:.1f} dB", number(recording, "peakDb"));
}

std::string lossOf(const ControlJSON& recording) {
  const double lost = number(recording, "lostFrames");
  return lost > 0 ? fmt::format(" ({:.0f} frames lost)", lost) : "";
}

std::string levelOf(const ControlJSON& app) {
  const auto level = app.find("levelDb");
  return level != app.end() && level->is_number() ? fmt::format("{:.1f} dB", double(*level)) : "-";
}

std::string bar(const ControlJSON& app) {
  const auto level = app.find("levelDb");
  if (level == app.end() || !level->is_number()) return std::string(kBarWidth, ' ');
  const double part = std::clamp((double(*level) - kBarFloorDb) / -kBarFloorDb, 0.0, 1.0);
  const auto filled = std::size_t(part * kBarWidth + 0.5);
  return std::string(filled, '#') + std::string(kBarWidth - filled, '.');
}

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
  add(flag(app, "hidden"), "hidden");
  add(flag(app, "pinned"), "pinned");
  add(flag(app.value("equaliser", ControlJSON::object()), "enabled"), "eq");
  add(flag(app.value("limiter", ControlJSON::object()), "enabled"), "limiter");
  return flags;
}

}  // namespace

std::string statusText(const ControlJSON& status) {
  std::string out = fmt::format("Sonmere {} has been running for {:.0f} s on the {} audio server ({}).\n",
                                text(status, "version"), number(status, "uptimeSeconds"),
                                text(status, "platform"), text(status, "reason"));
  out += fmt::format("{:.0f} apps, {:.0f} playing, {:.0f} routed{}, {:.0f} in the per-app volume ({}).\n",
                     number(status, "apps"), number(status, "runningApps"), number(status, "routedApps"),
                     flag(status, "routingEnabled") ? "" : " (routing is off)", number(status, "mixedApps"),
                     flag(status, "mixerEnabled") ? "on" : "off");
  out += fmt::format("{:.0f} recordings.\n", number(status, "recordings"));
  for (const char* error : {"routingError", "mixerError", "recordingError"})
    if (const std::string why = text(status, error); !why.empty()) out += "Last error: " + why + "\n";
  for (const ControlJSON& notice : status.value("recordingNotices", ControlJSON::array()))
    if (notice.is_string()) out += "Recording: " + std::string(notice) + "\n";
  return out;
}

std::string appsText(const ControlJSON& apps) {
  if (apps.empty()) return "No audio-producing apps detected. Play audio in an app and refresh.\n";
  std::string out = fmt::format("{:<32} {:<20} {:<9} {:>7} {:>9} {:>9}  {}\n", "app", "name", "sound",
                                "volume", "level", "delay", "");
  for (const ControlJSON& app : apps)
    out +=
        fmt::format("{:<32} {:<20} {:<9} {:>7} {:>9} {:>6.1f} ms  {}\n", text(app, "id"), text(app, "name"),
                    routeOf(app), volumeOf(app), levelOf(app), number(app, "addedDelayMs"), flagsOf(app));
  return out;
}

std::string linesText(const ControlJSON& texts) {
  std::string out;
  for (const ControlJSON& each : texts)
    if (each.is_string()) out += std::string(each) + "\n";
  return out;
}

std::string appText(const ControlJSON& app) {
  const std::string flags = flagsOf(app);
  return fmt::format("{} ({}): {}, {}{}{}\n", text(app, "name"), text(app, "id"), volumeOf(app), routeOf(app),
                     flags.empty() ? "" : ", ", flags) +
         linesText(app.value("hints", ControlJSON::array()));
}

std::string mixerText(const ControlJSON& mixer) {
  return fmt::format(
      "Per-app volume {}, master {:.0f} %, boost {}, output equaliser {}{}\n",
      flag(mixer, "enabled") ? "on" : "off", number(mixer, "masterVolume") * 100,
      flag(mixer, "boostAllowed") ? "allowed" : "not allowed",
      flag(mixer.value("outputEqualiser", ControlJSON::object()), "enabled") ? "on" : "off",
      text(mixer, "outputDevice").empty() ? "" : ", playing on " + text(mixer, "outputDevice"));
}

std::string devicesText(const ControlJSON& devices) {
  std::string out =
      fmt::format("{:<36} {:<28} {:>3} {:>3} {:>9}  {}\n", "device", "name", "in", "out", "rate", "");
  for (const ControlJSON& device : devices)
    out += fmt::format("{:<36} {:<28} {:>3.0f} {:>3.0f} {:>6.0f} Hz  {}{}\n", text(device, "id"),
                       text(device, "name"), number(device, "inputs"), number(device, "outputs"),
                       number(device, "sampleRate"), flag(device, "defaultOutput") ? "default output " : "",
                       flag(device, "defaultInput") ? "default input" : "");
  return out;
}

std::string recordingsText(const ControlJSON& recordings) {
  std::string out;
  for (const ControlJSON& recording : recordings)
    out += fmt::format("{:<10} {:>8.1f} s {:>12.0f} frames {:>9}  {}{}\n",
                       busName(int(number(recording, "bus"))), number(recording, "seconds"),
                       number(recording, "frames"), peakOf(recording), text(recording, "path"),
                       lossOf(recording));
  return out.empty() ? "Nothing is being recorded.\n" : out;
}

std::string recordingHealthText(const ControlJSON& health) {
  std::string out;
  for (const ControlJSON& notice : health.value("notices", ControlJSON::array()))
    if (notice.is_string()) out += std::string(notice) + "\n";
  for (const ControlJSON& failure : health.value("failures", ControlJSON::array()))
    out += fmt::format("{}  {}  failed at frame {:.0f}: {}\n", text(failure, "date"), text(failure, "file"),
                       number(failure, "atFrame"), text(failure, "error"));
  return out.empty() ? "All recordings of this run are well.\n" : out;
}

std::string profilesText(const ControlJSON& profiles) {
  std::string out;
  for (const ControlJSON& profile : profiles) {
    std::string apps;
    for (const ControlJSON& app : profile.value("apps", ControlJSON::array()))
      if (app.is_string()) apps += (apps.empty() ? "" : ", ") + printable(app.get_ref<const std::string&>());
    out += fmt::format("{:<24} {}\n", text(profile, "name"), apps);
  }
  return out.empty() ? "There are no profiles.\n" : out;
}

std::string levelsText(const ControlJSON& apps) {
  std::string out = fmt::format("{:<24} {:<9} {:>7} {:<{}} {:>9} {:>9} {:>9}\n", "app", "sound", "volume",
                                "level", kBarWidth, "", "limiter", "delay");
  for (const ControlJSON& app : apps)
    out += fmt::format("{:<24.24} {:<9} {:>7} {} {:>9} {:>9} {:>6.1f} ms\n", text(app, "name"), routeOf(app),
                       volumeOf(app), bar(app), levelOf(app), reductionOf(app), number(app, "addedDelayMs"));
  return out;
}

}  // namespace sonmere
