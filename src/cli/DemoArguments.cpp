#include "cli/DemoArguments.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>

#include "app/DemoPieces.h"
#include "app/EmbeddedPlatform.h"
#include "apps/FamilyRules.h"
#include "audio/device/BusTable.h"
#include "base/UTF8.h"
#include "cli/ArgumentText.h"
#include "cli/BusText.h"
#include "cli/EqualiserText.h"
#include "cli/OutputText.h"
#include "cli/RecordingLayoutText.h"
#include "control/AppMatch.h"
#include "control/EffectLimits.h"
#include "control/MicChannelsText.h"
#include "control/VolumeText.h"

namespace sonmere {

namespace {

constexpr double kLongestSeconds = 24 * 3600;
constexpr const char* kDefaultFolder = "sonmere-demo";

// Whether an app can have this identifier; those that belong to others never get a row to route.
Outcome<void> checkID(const std::string& text, const std::string& id) {
  const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7F; };
  const auto refuse = [&](std::string_view why) {
    return badArgument(fmt::format("--app {}: {}", text, why));
  };
  if (std::ranges::any_of(id, isControl)) return refuse("an app's ID holds no control characters");
  if (!isUTF8(id)) return refuse("an app's ID is UTF-8 text");
  if (FamilyRules::helperOwner(id)) return refuse("an ID with \".helper\" is part of another app");
  if (id == EmbeddedPlatform::ownBundleID()) return refuse("this is the program's own ID");
  const bool isSystem = FamilyRules::hiddenSystemBundleIDs().contains(id) || FamilyRules::isSiriProcess(id) ||
                        FamilyRules::isSystemSoundServer(id) || FamilyRules::isWebKitProcess(id) ||
                        id == FamilyRules::kSiriKey || id == FamilyRules::kMasterKey;
  if (isSystem) return refuse("this ID belongs to the system");
  return {};
}

// Applies `take` to the app that each "ID=value" names, once for each app.
template <class Take>
Outcome<void> forEachPair(std::vector<DemoOptions::App>& apps, const char* option,
                          const std::vector<std::string>& values, const char* form, Take&& take) {
  std::set<std::string> named;
  for (const std::string& text : values) {
    auto pair = splitPair(option, text, form);
    if (!pair) return std::unexpected(pair.error());
    const auto app = std::ranges::find(apps, pair->id, &DemoOptions::App::id);
    if (app == apps.end())
      return badArgument(fmt::format("{} {}: there is no app \"{}\"", option, text, pair->id));
    if (!named.insert(pair->id).second)
      return badArgument(fmt::format("{} {}: given twice for the app \"{}\"", option, text, pair->id));
    if (Outcome<void> taken = take(*app, *pair, text); !taken) return taken;
  }
  return {};
}

// Every app gets a Track of its own unless told otherwise; the built-in speech goes to the bridge. A
// microphone is heard without the built-in pieces.
Outcome<std::vector<DemoOptions::App>> readApps(const std::vector<std::string>& values, bool hasMicrophone) {
  std::vector<DemoOptions::App> apps;
  if (values.empty() && hasMicrophone) return apps;
  if (values.empty()) {
    const auto pieces = demoPieces();
    if (!pieces) return std::unexpected(pieces.error());
    for (const DemoPiece& piece : *pieces)
      apps.push_back({piece.id, piece.file, true, piece.bus, 1.0f, {}, {}});
    return apps;
  }
  for (const std::string& text : values) {
    auto pair = splitPair("--app", text, "ID=FILE");
    if (!pair) return std::unexpected(pair.error());
    if (auto checked = checkID(text, pair->id); !checked) return std::unexpected(checked.error());
    if (std::ranges::find(apps, pair->id, &DemoOptions::App::id) != apps.end())
      return badArgument(fmt::format("--app {}: the app \"{}\" is named twice", text, pair->id));
    const int track = int(apps.size()) % (kBusCount - kFirstTrackBus);
    apps.push_back({pair->id, pair->value, false, kFirstTrackBus + track, 1.0f, {}, {}});
  }
  return apps;
}

Outcome<void> takeRoute(DemoOptions::App& app, const ArgumentPair& pair, const std::string& text) {
  // The names that the user gave Tracks are not those of the demo.
  const auto bus = readBusOrOff("--route " + text, pair.value, [] { return TrackNames{}; });
  if (!bus) return std::unexpected(bus.error());
  app.bus = *bus;
  return {};
}

Outcome<void> takeOutput(DemoOptions::App& app, const ArgumentPair& pair, const std::string& text) {
  const auto [wanted, left, right] = readOutput(pair.value);
  std::vector<AppName> names;
  for (const auto& each : EmbeddedPlatform::outputs()) names.push_back({each.uid, each.name});
  const auto uid = matchName(wanted, names, {"output device", "output devices"});
  if (!uid) return badArgument(fmt::format("--output {}: {}", text, uid.error().description));
  const auto device =
      std::ranges::find_if(EmbeddedPlatform::outputs(), [&](const auto& each) { return each.uid == *uid; });
  if (left < 1 || right < 1 || left == right || std::max(left, right) > device->channels)
    return badArgument(fmt::format("--output {}: {} has {} channels; give two different ones of them as :3/4",
                                   text, device->name, device->channels));
  if (!app.bus) return badArgument(fmt::format("--output {}: the app \"{}\" is not routed", text, app.id));
  app.output = {*uid, left - 1, right - 1};
  return {};
}

Outcome<void> takeVolume(DemoOptions::App& app, const ArgumentPair& pair, const std::string& text,
                         std::vector<std::string>& notes) {
  const auto gain = readVolumeLevel("--volume " + text, pair.value);
  if (!gain) return std::unexpected(gain.error());
  app.volume = gain->gain;
  if (gain->note) notes.push_back(*gain->note);
  return {};
}

// What was held to its range is told with the option that asked for it.
void takeNotes(const std::string& option, const std::vector<std::string>& held,
               std::vector<std::string>& notes) {
  for (const std::string& note : held) notes.push_back(option + ": " + note);
}

Outcome<void> takeEqualiser(DemoOptions::App& app, const ArgumentPair& pair, const std::string& text,
                            std::vector<std::string>& notes) {
  const auto settings = readEqualiser("--eq " + text, pair.value);
  if (!settings) return std::unexpected(settings.error());
  std::vector<std::string> held;
  app.equaliser = heldToRange(*settings, held);
  takeNotes("--eq " + text, held, notes);
  return {};
}

Outcome<void> takeLimit(DemoOptions::App& app, const ArgumentPair& pair, const std::string& text,
                        std::vector<std::string>& notes) {
  const auto ceiling = readCeiling("--limit " + text, pair.value);
  if (!ceiling) return std::unexpected(ceiling.error());
  std::vector<std::string> held;
  app.ceilingDb = heldCeiling(*ceiling, held);
  takeNotes("--limit " + text, held, notes);
  return {};
}

// What stands behind the last colon, if it says which channels.
std::string channelsIn(const std::string& text) {
  const auto colon = text.rfind(':');
  const std::string behind = colon == text.npos ? "" : text.substr(colon + 1);
  return isMicChannels(behind) ? behind : "";
}

Outcome<void> takeMicSend(DemoOptions::Microphone& microphone, const std::string& text,
                          std::vector<std::string>& notes) {
  const auto pair = splitPair("--mic-send", text, "BUS=VOLUME");
  if (!pair) return std::unexpected(pair.error());
  const auto bus = readBus("--mic-send " + text, pair->id, [] { return TrackNames{}; });
  if (!bus) return std::unexpected(bus.error());
  if (*bus == kBridgeBus)
    return badArgument(fmt::format("--mic-send {}: the bridge has the microphone by itself", text));
  const auto gain = readVolumeLevel("--mic-send " + text, pair->value);
  if (!gain) return std::unexpected(gain.error());
  if (gain->note) notes.push_back(*gain->note);
  if (!microphone.sends.emplace(*bus, gain->gain).second)
    return badArgument(fmt::format("--mic-send {}: given twice for this bus", text));
  return {};
}

Outcome<std::optional<DemoOptions::Microphone>> readMicrophone(const DemoArguments& arguments,
                                                               std::vector<std::string>& notes) {
  if (!arguments.microphone) {
    if (!arguments.micSends.empty()) return badArgument("--mic-send: there is no --mic to send");
    return std::nullopt;
  }
  DemoOptions::Microphone microphone;
  const std::string channels = channelsIn(*arguments.microphone);
  microphone.file = channels.empty()
                        ? *arguments.microphone
                        : arguments.microphone->substr(0, arguments.microphone->size() - channels.size() - 1);
  if (microphone.file.empty()) return badArgument("--mic: the file's name is empty");
  if (!channels.empty()) std::tie(microphone.mode, microphone.channels) = *micChannelsFromText(channels);
  for (const std::string& text : arguments.micSends)
    if (const auto taken = takeMicSend(microphone, text, notes); !taken)
      return std::unexpected(taken.error());
  return microphone;
}

// `argument` is the option with its text, for errors.
Outcome<PluginScope> readScope(const std::string& argument, const std::string& scope,
                               const std::vector<DemoOptions::App>& apps) {
  constexpr std::string_view kBusWord = "bus:", kAppWord = "app:";
  if (scope.starts_with(kBusWord)) {
    const auto bus = readBus(argument, scope.substr(kBusWord.size()), [] { return TrackNames{}; });
    if (!bus) return std::unexpected(bus.error());
    return PluginScope::ofBus(*bus);
  }
  if (scope == "mic") return PluginScope::ofMic();
  const std::string id = scope.starts_with(kAppWord) ? scope.substr(kAppWord.size()) : "";
  if (std::ranges::find(apps, id, &DemoOptions::App::id) != apps.end()) return PluginScope::ofApp(id);
  return badArgument(fmt::format("{}: \"{}\" is none of mic, app:ID, with an app of the demo, and bus:BUS",
                                 argument, scope));
}

Outcome<DemoOptions::Plugin> readPlugin(const std::string& text, const std::vector<DemoOptions::App>& apps) {
  const auto pair = splitPair("--plugin", text, "SCOPE=URI[,CONTROL=VALUE]");
  if (!pair) return std::unexpected(pair.error());
  const auto scope = readScope("--plugin " + text, pair->id, apps);
  if (!scope) return std::unexpected(scope.error());
  const std::vector<std::string> parts = splitText(pair->value, ',');
  DemoOptions::Plugin plugin{*scope, parts.front(), {}};
  for (std::size_t i = 1; i < parts.size(); ++i) {
    const auto value = splitPair(("--plugin " + text).c_str(), parts[i], "CONTROL=VALUE");
    if (!value) return std::unexpected(value.error());
    plugin.values.emplace_back(value->id, value->value);
  }
  return plugin;
}

// An app that is heard must be routed, and a microphone be there.
Outcome<void> checkMonitored(const std::string& argument, const PluginScope& scope,
                             const DemoOptions& options) {
  const auto isRouted = [&](const auto& app) {
    return app.id == scope.app && app.bus.has_value() && app.output.deviceUID.empty();
  };
  if (scope.kind == PluginScope::Kind::app && std::ranges::none_of(options.apps, isRouted))
    return badArgument(fmt::format("{}: the app \"{}\" is not routed to a bus", argument, scope.app));
  if (scope.kind == PluginScope::Kind::mic && !options.microphone)
    return badArgument(fmt::format("{}: there is no --mic to hear", argument));
  return {};
}

Outcome<DemoOptions::Monitored> readMonitored(const std::string& text, const DemoOptions& options,
                                              std::vector<std::string>& notes) {
  const std::string argument = "--monitor " + text;
  const auto equals = text.rfind('=');
  const auto scope = readScope(argument, text.substr(0, equals), options.apps);
  if (!scope) return std::unexpected(scope.error());
  if (const auto checked = checkMonitored(argument, *scope, options); !checked)
    return std::unexpected(checked.error());
  if (equals == text.npos) return DemoOptions::Monitored{*scope, std::nullopt};
  const auto level = readVolumeLevel(argument, text.substr(equals + 1));
  if (!level) return std::unexpected(level.error());
  if (level->note) notes.push_back(*level->note);
  return DemoOptions::Monitored{*scope, level->gain};
}

Outcome<double> readSeconds(const std::optional<std::string>& text) {
  if (!text) return DemoOptions{}.seconds;
  const auto value = readNumber(*text);
  if (!value || *value <= 0 || *value > kLongestSeconds)
    return badArgument(fmt::format("--seconds {}: use a number above 0, at most {}", *text, kLongestSeconds));
  return *value;
}

Outcome<RecordingBitDepth> readDepth(const std::optional<std::string>& text) {
  if (!text) return RecordingBitDepth::int16;
  for (const auto depth : {RecordingBitDepth::int16, RecordingBitDepth::int24, RecordingBitDepth::float32})
    if (*text == name(depth)) return depth;
  return badArgument(fmt::format("--depth {}: use int16, int24 or float32", *text));
}

Outcome<std::optional<std::uint64_t>> readSeed(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
  if (error != std::errc{} || end != text->data() + text->size())
    return badArgument(fmt::format("--seed {}: use a whole number from 0 on", *text));
  return value;
}

// The JSON report names files, and nothing that is no UTF-8 can stand in it.
Outcome<void> checkForJSON(const DemoOptions& options) {
  if (!isUTF8(options.folder))
    return badArgument(fmt::format("--json: the folder {} is not UTF-8", options.folder));
  for (const DemoOptions::App& app : options.apps)
    if (!isUTF8(app.file)) return badArgument(fmt::format("--json: the file {} is not UTF-8", app.file));
  return {};
}

// What is wished for each app.
Outcome<void> readAppWishes(const DemoArguments& arguments, DemoRequest& request) {
  auto& all = request.options.apps;
  if (auto r = forEachPair(all, "--route", arguments.routes, "ID=BUS", takeRoute); !r)
    return std::unexpected(r.error());
  if (auto r = forEachPair(all, "--output", arguments.outputs, "ID=DEVICE[:L/R]", takeOutput); !r)
    return std::unexpected(r.error());
  const auto noting = [&](auto take) {
    return [&, take](auto& app, const ArgumentPair& pair, const std::string& text) {
      return take(app, pair, text, request.notes);
    };
  };
  if (auto r = forEachPair(all, "--volume", arguments.volumes, "ID=VOLUME", noting(takeVolume)); !r)
    return std::unexpected(r.error());
  if (auto r = forEachPair(all, "--eq", arguments.equalisers, "ID=hp:HZ,bell:HZ:DB:Q,lp:HZ",
                           noting(takeEqualiser));
      !r)
    return std::unexpected(r.error());
  if (auto r = forEachPair(all, "--limit", arguments.limits, "ID=DB", noting(takeLimit)); !r)
    return std::unexpected(r.error());
  return {};
}

Outcome<void> readExtras(const DemoArguments& arguments, DemoRequest& request) {
  auto microphone = readMicrophone(arguments, request.notes);
  if (!microphone) return std::unexpected(microphone.error());
  request.options.microphone = std::move(*microphone);
  for (const std::string& text : arguments.monitored) {
    auto monitored = readMonitored(text, request.options, request.notes);
    if (!monitored) return std::unexpected(monitored.error());
    request.options.monitored.push_back(std::move(*monitored));
  }
  for (const std::string& text : arguments.plugins) {
    auto plugin = readPlugin(text, request.options.apps);
    if (!plugin) return std::unexpected(plugin.error());
    request.options.plugins.push_back(std::move(*plugin));
  }
  return {};
}

// How the run is done and what it leaves.
Outcome<void> readRun(const DemoArguments& arguments, DemoRequest& request) {
  const auto seconds = readSeconds(arguments.seconds);
  if (!seconds) return std::unexpected(seconds.error());
  if (arguments.layout) {
    const auto layout = readRecordingLayout("--record", *arguments.layout);
    if (!layout) return std::unexpected(layout.error());
    request.options.layout = *layout;
  }
  const auto depth = readDepth(arguments.depth);
  if (!depth) return std::unexpected(depth.error());
  const auto seed = readSeed(arguments.seed);
  if (!seed) return std::unexpected(seed.error());
  if (arguments.hasSystemAudio && arguments.isMixed)
    return badArgument("--system and --mix: both would capture everything that plays; give one of them");
  request.options.hasSystemAudio = arguments.hasSystemAudio;
  request.options.isMixed = arguments.isMixed;
  request.options.seconds = *seconds;
  request.options.bitDepth = *depth;
  auto folder = readFolder("--out", arguments.folder.value_or(kDefaultFolder));
  if (!folder) return std::unexpected(folder.error());
  request.options.folder = std::move(*folder);
  request.seed = *seed;
  request.live = arguments.live;
  request.json = arguments.json;
  return {};
}

}  // namespace

Outcome<DemoRequest> parseDemo(const DemoArguments& arguments) {
  DemoRequest request;
  auto apps = readApps(arguments.apps, arguments.microphone.has_value());
  if (!apps) return std::unexpected(apps.error());
  request.options.apps = std::move(*apps);
  for (const auto read : {readAppWishes, readExtras, readRun})
    if (auto done = read(arguments, request); !done) return std::unexpected(done.error());
  if (request.live && request.seed)
    return badArgument("--seed has no meaning with --live: real time can't be repeated");
  if (request.json)
    if (auto checked = checkForJSON(request.options); !checked) return std::unexpected(checked.error());
  return request;
}

}  // namespace sonmere
