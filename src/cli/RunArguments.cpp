#include "cli/RunArguments.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "base/UTF8.h"
#include "cli/ArgumentText.h"
#include "control/VolumeText.h"

namespace sonmere {

namespace {

Outcome<void> readRoutes(const std::vector<std::string>& values, const TrackNamesSource& names,
                         RunRequest& request) {
  std::set<std::string> named;
  for (const std::string& text : values) {
    auto pair = splitPair("--route", text, "ID=BUS");
    if (!pair) return std::unexpected(pair.error());
    const auto bus = readBusOrOff("--route " + text, pair->value, names);
    if (!bus) return std::unexpected(bus.error());
    if (!named.insert(pair->id).second)
      return badArgument(fmt::format("--route {}: given twice for the app \"{}\"", text, pair->id));
    request.options.routes.push_back({pair->id, *bus});
  }
  return {};
}

Outcome<void> readVolumes(const std::vector<std::string>& values, RunRequest& request) {
  std::set<std::string> named;
  for (const std::string& text : values) {
    auto pair = splitPair("--volume", text, "ID=VOLUME");
    if (!pair) return std::unexpected(pair.error());
    const auto gain = readVolumeLevel("--volume " + text, pair->value);
    if (!gain) return std::unexpected(gain.error());
    if (!named.insert(pair->id).second)
      return badArgument(fmt::format("--volume {}: given twice for the app \"{}\"", text, pair->id));
    request.options.volumes.push_back({pair->id, gain->gain});
    if (gain->note) request.notes.push_back(*gain->note);
  }
  return {};
}

Outcome<void> readRecords(const std::vector<std::string>& values, const TrackNamesSource& names,
                          RunRequest& request) {
  for (const std::string& text : values) {
    const auto bus = readBus("--record " + text, text, names);
    if (!bus) return std::unexpected(bus.error());
    auto& buses = request.options.recordedBuses;
    if (std::ranges::find(buses, *bus) == buses.end()) buses.push_back(*bus);
  }
  return {};
}

Outcome<void> readSeconds(const std::optional<std::string>& text, RunRequest& request) {
  if (!text) return {};
  const auto value = readNumber(*text);
  constexpr double kLongest = 365 * 24 * 3600.0;
  if (!value || *value <= 0 || *value > kLongest)
    return badArgument(fmt::format("--for {}: use a number of seconds above 0, at most {}", *text, kLongest));
  request.options.seconds = *value;
  return {};
}

}  // namespace

Outcome<RunRequest> parseRun(const RunArguments& arguments, const TrackNamesSource& names) {
  RunRequest request;
  if (arguments.platform) {
    const auto wish = platformWish(*arguments.platform);
    if (!wish)
      return badArgument(fmt::format("--platform {}: use auto, pipewire or simulated", *arguments.platform));
    request.platform = *wish;
  }
  request.options.demoApps = arguments.demoApps;
  if (auto read = readRoutes(arguments.routes, names, request); !read) return std::unexpected(read.error());
  if (auto read = readVolumes(arguments.volumes, request); !read) return std::unexpected(read.error());
  if (auto read = readRecords(arguments.records, names, request); !read) return std::unexpected(read.error());
  if (auto read = readSeconds(arguments.seconds, request); !read) return std::unexpected(read.error());
  if (arguments.folder) {
    auto folder = readFolder("--out", *arguments.folder);
    if (!folder) return std::unexpected(folder.error());
    if (arguments.json && !isUTF8(*folder))
      return badArgument(fmt::format("--json: the folder {} is not UTF-8", *folder));
    request.folder = std::move(*folder);
  }
  request.hasControl = !arguments.noControl;
  request.isAtLogin = arguments.atLogin;
  request.json = arguments.json;
  request.verbose = arguments.verbose;
  return request;
}

}  // namespace sonmere
