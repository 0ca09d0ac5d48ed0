#include "cli/RunPrinter.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "cli/JSONOutput.h"
#include "cli/Text.h"

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
                    {"underruns", app.underruns}});
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
          fmt::format("{} ({}) plays on {}.\n", printable(app.name), printable(app.id), busName(*app.bus));
  for (const RunReport::Route& route : report.routes)
    if (!route.isArmed && route.bus)
      text += fmt::format("{} goes to {} when it appears.\n", printable(route.app), busName(*route.bus));
  return text;
}

std::string runTableText(const RunReport& report) {
  std::string text = fmt::format("\n{:<24} {:<10} {:>7} {:>12} {:>9}\n", "app", "route", "volume",
                                 "added delay", "underruns");
  for (const RunReport::App& app : report.apps)
    text += fmt::format("{:<24} {:<10} {:>5.0f} % {:>9.1f} ms {:>9}\n", printable(app.id),
                        app.bus ? busName(*app.bus) : "-", app.volume * 100, app.addedDelayMs, app.underruns);
  if (report.recordings.empty()) return text;
  text += fmt::format("\n{:<10} {:>10} {:>12} {:>6}  {}\n", "bus", "length", "frames", "lost", "file");
  for (const RunReport::Recording& recording : report.recordings)
    text += fmt::format("{:<10} {:>8.2f} s {:>12} {:>6}  {}\n", busName(recording.bus), seconds(recording),
                        recording.frames, recording.lostFrames, printable(recording.path));
  return text;
}

std::string runJSONText(const PlatformChoice& platform, const RunReport& report) {
  const JSON all{
      {"platform", platform.name()},  {"reason", platform.reason()},          {"apps", appsJSON(report)},
      {"routes", routesJSON(report)}, {"recordings", recordingsJSON(report)}, {"errors", report.errors}};
  return jsonText(all);
}

}  // namespace sonmere
