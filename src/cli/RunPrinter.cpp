#include "cli/RunPrinter.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "cli/JSONOutput.h"
#include "cli/Text.h"
#include "cli/TextTable.h"

namespace sonmere {

namespace {

using JSON = nlohmann::ordered_json;

double seconds(const RunReport::Recording& recording) {
  return recording.sampleRate > 0 ? double(recording.frames) / recording.sampleRate : 0;
}

JSON busOrNull(const std::optional<int>& bus) { return bus ? JSON(*bus) : JSON(nullptr); }

JSON appsJSON(const RunReport& report) {
  JSON apps = JSON::array();
  for (const RunReport::App& app : report.apps)
    apps.push_back({{"id", app.id},
                    {"name", app.name},
                    {"running", app.isRunning},
                    {"bus", busOrNull(app.bus)},
                    {"volume", shortest(app.volume)},
                    {"muted", app.isMuted},
                    {"addedDelayMs", app.addedDelayMs},
                    {"underruns", app.underruns},
                    {"leftOutMs", app.leftOutMs}});
  return apps;
}

JSON routesJSON(const RunReport& report) {
  JSON routes = JSON::array();
  for (const RunReport::Route& route : report.routes)
    routes.push_back({{"app", route.app}, {"bus", busOrNull(route.bus)}, {"armed", route.isArmed}});
  return routes;
}

JSON recordingsJSON(const RunReport& report) {
  JSON recordings = JSON::array();
  for (const RunReport::Recording& recording : report.recordings)
    recordings.push_back({{"bus", recording.bus},
                          {"path", recording.path},
                          {"frames", recording.frames},
                          {"seconds", seconds(recording)},
                          {"sampleRate", recording.sampleRate},
                          {"lostFrames", recording.lostFrames}});
  return recordings;
}

}  // namespace

std::string runWaitingText(const PlatformChoice& platform) {
  return fmt::format(
      "Waiting for the {} audio server, which does not answer yet; --platform simulated runs on an embedded "
      "one",
      platform.name());
}

std::string runReadyText(const PlatformChoice& platform, const RunReport& report) {
  std::string text =
      fmt::format("Running on the {} audio server ({}).\n", platform.name(), printable(platform.reason()));
  for (const RunReport::App& app : report.apps)
    if (app.bus)
      text +=
          fmt::format("{} ({}) plays on {}.\n", printable(app.name), printable(app.id), busLabel(*app.bus));
  for (const RunReport::Route& route : report.routes)
    if (!route.isArmed && route.bus)
      text += fmt::format("{} goes to {} when it appears.\n", printable(route.app), busLabel(*route.bus));
  return text;
}

std::string runTableText(const RunReport& report) {
  constexpr auto kRight = TextTable::Align::right;
  TextTable apps({{"app"},
                  {"route"},
                  {"volume", kRight},
                  {"added delay", kRight},
                  {"underruns", kRight},
                  {"left out", kRight}});
  for (const RunReport::App& app : report.apps)
    apps.add({app.id, app.bus ? busLabel(*app.bus) : "-", fmt::format("{:.0f} %", app.volume * 100),
              fmt::format("{:.1f} ms", app.addedDelayMs), fmt::format("{}", app.underruns),
              fmt::format("{:.1f} ms", app.leftOutMs)});
  const std::string text = "\n" + apps.text();
  if (report.recordings.empty()) return text;
  TextTable files({{"bus"}, {"length", kRight}, {"frames", kRight}, {"lost", kRight}, {"file"}});
  for (const RunReport::Recording& recording : report.recordings)
    files.add({busLabel(recording.bus), fmt::format("{:.2f} s", seconds(recording)),
               fmt::format("{}", recording.frames), fmt::format("{}", recording.lostFrames), recording.path});
  return text + "\n" + files.text();
}

std::string runJSONText(const PlatformChoice& platform, const RunReport& report) {
  const JSON all{
      {"platform", platform.name()},  {"reason", platform.reason()},          {"apps", appsJSON(report)},
      {"routes", routesJSON(report)}, {"recordings", recordingsJSON(report)}, {"errors", report.errors}};
  return jsonText(all);
}

}  // namespace sonmere
