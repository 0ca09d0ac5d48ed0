#include "control/ControlCodec.h"

#include <cmath>

#include "base/DateText.h"
#include "control/CodecValues.h"
#include "control/ControlParams.h"
#include "recording/RecordedSource.h"

namespace sonmere {

namespace {

ControlJSON metersOf(const InputMeters& input) {
  ControlJSON channels = ControlJSON::array(), extras = ControlJSON::object();
  for (const float peak : input.channelPeaks) channels.push_back(shortest(peak));
  for (const auto& [id, peak] : input.extraPeaks) extras[id] = shortest(peak);
  return {{"beforeDb", shortest(input.beforeDb)},
          {"afterDb", shortest(input.afterDb)},
          {"gainReductionDb", shortest(input.gainReductionDb)},
          {"channelPeaks", channels},
          {"inputPeaks", extras}};
}

ControlJSON levelOf(const AppMeters& meters) {
  return meters.levelDb ? ControlJSON(shortest(*meters.levelDb)) : ControlJSON(nullptr);
}

ControlJSON outputOf(const AppOutputState& output) {
  return {{"device", output.device},
          {"name", output.name},
          {"left", output.left},
          {"right", output.right},
          {"playing", output.isPlaying}};
}

// Half decibels are finer than a display.
ControlJSON spectrumOf(const SpectrumState& spectrum) {
  ControlJSON bands = ControlJSON::array();
  for (const float band : spectrum.bandsDb) bands.push_back(std::round(double(band) * 2) / 2);
  return {{"of", spectrum.of}, {"bandsDb", bands}};
}

}  // namespace

ControlJSON encodeControl(const AppEQSettings& s) {
  return {{"enabled", s.isEnabled}, {"highPassHz", s.highPassFreq},
          {"bellHz", s.paraFreq},   {"bellDb", s.paraGain},
          {"bellQ", s.paraQ},       {"lowPassHz", s.lowPassFreq}};
}

ControlJSON encodeControl(const AppState& app) {
  return {{"id", app.id},
          {"name", app.name},
          {"running", app.isRunning},
          {"hidden", app.isHidden},
          {"pinned", app.isPinned},
          {"control", app.control},
          {"bus", orNull(app.bus)},
          {"output", app.output ? outputOf(*app.output) : ControlJSON(nullptr)},
          {"routeWaits", app.isRouteWaiting},
          {"volume", shortest(app.volume)},
          {"muted", app.isMuted},
          {"levelDb", levelOf(app.meters)},
          {"gainReductionDb", shortest(app.meters.gainReductionDb)},
          {"addedDelayMs", app.meters.addedDelayMs},
          {"underruns", app.meters.underruns},
          {"leftOutMs", app.meters.leftOutMs},
          {"equaliser", encodeControl(app.equaliser)},
          {"limiter", {{"enabled", app.limiter.isEnabled}, {"ceilingDb", app.limiter.ceilingDb}}},
          {"hints", app.hints}};
}

ControlJSON encodeControl(const Meters& meters) {
  ControlJSON apps = ControlJSON::object();
  for (const auto& [id, each] : meters.apps)
    apps[id] = {{"levelDb", levelOf(each)},
                {"gainReductionDb", shortest(each.gainReductionDb)},
                {"addedDelayMs", each.addedDelayMs},
                {"underruns", each.underruns},
                {"leftOutMs", each.leftOutMs}};
  ControlJSON buses = ControlJSON::object();
  for (const auto& [bus, reduction] : meters.busReductionDb)
    buses[std::to_string(bus)] = {{"gainReductionDb", shortest(reduction)}};
  ControlJSON all = {{"apps", apps}, {"buses", buses}, {"recordings", encodeControl(meters.recordings)}};
  if (meters.input) all["input"] = metersOf(*meters.input);
  if (meters.spectrum) all["spectrum"] = spectrumOf(*meters.spectrum);
  return all;
}

ControlJSON encodeControl(const WindowLaunch& launch) {
  return {{"shown", launch.isShown}, {"greeting", launch.greeting}};
}

ControlJSON encodeControl(const RecordingSession& session) {
  ControlJSON files = ControlJSON::array();
  for (const RecordingFile& file : session.files) {
    ControlJSON marks = ControlJSON::array();
    for (const auto& mark : file.marks) marks.push_back({{"seconds", mark.seconds}, {"text", mark.text}});
    files.push_back({{"path", file.url},
                     {"name", file.displayName},
                     {"format", name(file.format)},
                     {"seconds", file.durationSeconds},
                     {"bytes", file.fileSize},
                     {"marks", std::move(marks)},
                     {"parts", file.parts}});
  }
  return {{"stamp", session.timestampString}, {"files", files}};
}

ControlJSON encodeControl(const AppChange& change) {
  return {{"app", encodeControl(change.app)}, {"notes", change.notes}};
}

ControlJSON encodeControl(const BusState& bus) {
  return {{"bus", bus.bus},
          {"name", bus.name},
          {"givenName", orNull(bus.givenName)},
          {"running", bus.isRunning},
          {"recording", bus.isRecording},
          {"apps", bus.apps},
          {"equaliser", encodeControl(bus.equaliser)},
          {"limiter", {{"enabled", bus.limiter.isEnabled}, {"ceilingDb", bus.limiter.ceilingDb}}},
          {"gainReductionDb", shortest(bus.gainReductionDb)}};
}

ControlJSON encodeControl(const RoutingOverview& routing) {
  return {{"enabled", routing.isEnabled},
          {"waiting", routing.waiting},
          {"buses", encodeControl(routing.buses)},
          {"error", orNull(routing.error)}};
}

ControlJSON encodeControl(const RoutingChange& change) {
  return {{"routing", encodeControl(change.routing)}, {"notes", change.notes}};
}

ControlJSON encodeControl(const BusChange& change) {
  return {{"bus", encodeControl(change.bus)}, {"notes", change.notes}};
}

ControlJSON encodeControl(const MixerState& mixer) {
  return {{"enabled", mixer.isEnabled},         {"masterVolume", shortest(mixer.masterVolume)},
          {"boostAllowed", mixer.boostAllowed}, {"outputEqualiser", encodeControl(mixer.outputEqualiser)},
          {"outputDevice", mixer.outputDevice}, {"sampleRate", mixer.sampleRate},
          {"error", orNull(mixer.error)}};
}

ControlJSON encodeControl(const MixerChange& change) {
  return {{"mixer", encodeControl(change.mixer)}, {"notes", change.notes}};
}

ControlJSON encodeControl(const InputDeviceState& device) {
  return {{"id", device.id},
          {"name", device.name},
          {"channels", device.channels},
          {"used", device.isUsed},
          {"chosen", device.isChosen}};
}

ControlJSON encodeControl(const ExtraInputState& input) {
  return {{"id", input.id},
          {"name", input.name},
          {"channel", input.channel},
          {"volume", shortest(input.volume)},
          {"muted", input.isMuted},
          {"pan", shortest(input.pan)},
          {"equaliser", encodeControl(input.equaliser)}};
}

ControlJSON encodeControl(const InputState& input) {
  ControlJSON sends = ControlJSON::object();
  for (const auto& [bus, volume] : input.sends) sends[std::to_string(bus)] = shortest(volume);
  return {{"enabled", input.isEnabled},
          {"running", input.isRunning},
          {"onFallback", input.isOnFallback},
          {"newDevice", orNull(input.newDevice)},
          {"devices", encodeControl(input.devices)},
          {"channels", input.channels},
          {"volume", shortest(input.volume)},
          {"equaliser", encodeControl(input.equaliser)},
          {"limiter", {{"enabled", input.limiter.isEnabled}, {"ceilingDb", input.limiter.ceilingDb}}},
          {"sends", sends},
          {"inputs", encodeControl(input.extras)},
          {"captureRate", input.captureRate},
          {"bridgeRate", input.bridgeRate},
          {"addedDelayMs", input.addedDelayMs},
          {"driftPpm", input.driftPpm},
          {"lock",
           {{"enabled", input.lock.isEnabled},
            {"device", input.lock.device},
            {"name", input.lock.name},
            {"present", input.lock.isPresent},
            {"backingOff", input.lock.isBackingOff},
            {"restores", input.lock.restores}}},
          {"error", orNull(input.error)}};
}

ControlJSON encodeControl(const InputChange& change) {
  return {{"input", encodeControl(change.input)}, {"notes", change.notes}};
}

ControlJSON encodeControl(const MonitorDeviceState& device) {
  return {{"id", device.id}, {"name", device.name}, {"used", device.isUsed}, {"chosen", device.isChosen}};
}

ControlJSON encodeControl(const MonitorAppState& app) {
  return {{"id", app.id},
          {"name", app.name},
          {"enabled", app.isEnabled},
          {"heard", app.isHeard},
          {"volume", shortest(app.volume)},
          {"linked", app.isLinked}};
}

ControlJSON encodeControl(const MonitorBusState& bus) {
  return {{"bus", bus.bus}, {"name", bus.name}, {"enabled", bus.isEnabled}, {"volume", shortest(bus.volume)}};
}

ControlJSON encodeControl(const MonitorState& monitor) {
  return {{"enabled", monitor.isEnabled},
          {"running", monitor.isRunning},
          {"following", monitor.isFollowing},
          {"device", monitor.device},
          {"sampleRate", monitor.sampleRate},
          {"devices", encodeControl(monitor.devices)},
          {"apps", encodeControl(monitor.apps)},
          {"buses", encodeControl(monitor.buses)},
          {"microphone",
           {{"enabled", monitor.hearsMicrophone},
            {"heard", monitor.isMicrophoneHeard},
            {"volume", shortest(monitor.microphoneVolume)}}},
          {"error", orNull(monitor.error)}};
}

ControlJSON encodeControl(const DriverState& driver) {
  return {{"status", driver.status},           {"advice", driver.advice},
          {"installed", driver.isInstalled},   {"active", driver.isActive},
          {"flowing", driver.isAudioFlowing},  {"sampleRate", driver.sampleRate},
          {"sampleRates", driver.sampleRates}, {"problem", driver.problem}};
}

ControlJSON encodeControl(const RouteRow& route) {
  return {{"id", route.id},
          {"name", route.name},
          {"verdict", route.verdict},
          {"detail", route.detail},
          {"advice", route.advice}};
}

namespace {

ControlJSON encodeReset(const RoutesReset& reset) {
  return {{"droppedStaleMembers", reset.droppedStaleMembers},
          {"sweptAggregates", reset.sweptAggregates},
          {"rebuiltSystemAudio", reset.rebuiltSystemAudio},
          {"rebuiltDAWDevice", reset.rebuiltDAWDevice},
          {"finishedAt", reset.finishedAt}};
}

}  // namespace

ControlJSON encodeControl(const RoutesState& routes) {
  return {{"routes", encodeControl(routes.routes)},
          {"worst", routes.worst},
          {"resetting", routes.isResetting},
          {"lastCheck", orNull(routes.lastCheck)},
          {"lastReset", routes.lastReset ? encodeReset(*routes.lastReset) : ControlJSON(nullptr)}};
}

ControlJSON encodeControl(const MonitorChange& change) {
  return {{"monitor", encodeControl(change.monitor)}, {"notes", change.notes}};
}

ControlJSON encodeControl(const RecordingState& recording) {
  const bool isBus = recording.source >= 0;
  return {{"bus", isBus ? ControlJSON(recording.source) : ControlJSON(nullptr)},
          {"source", isBus ? "bus" : recordedSourceName(recording.source)},
          {"path", recording.path},
          {"seconds", recording.seconds},
          {"frames", recording.frames},
          {"bytes", recording.bytes},
          {"lostFrames", recording.lostFrames},
          {"peakDb", recording.peakDb},
          {"silent", recording.isSilent},
          {"part", recording.part}};
}

ControlJSON encodeControl(const PrerollState& preroll) {
  ControlJSON sources = ControlJSON::array();
  for (const int source : preroll.sources)
    sources.push_back(source >= 0 ? std::to_string(source) : recordedSourceName(source));
  return {{"seconds", preroll.seconds},
          {"keptSeconds", preroll.keptSeconds},
          {"bytes", preroll.bytes},
          {"sources", sources},
          {"refusal", preroll.refusal.empty() ? ControlJSON(nullptr) : ControlJSON(preroll.refusal)}};
}

ControlJSON encodeControl(const RecordingHealthState& health) {
  ControlJSON failures = ControlJSON::array();
  for (const WriterFailure& failure : health.failures)
    failures.push_back({{"writer", failure.writer},
                        {"file", failure.file},
                        {"error", failure.error},
                        {"atFrame", failure.atFrame},
                        {"date", iso8601Text(failure.date)}});
  return {{"notices", health.notices}, {"failureCount", health.failureCount}, {"failures", failures}};
}

ControlJSON encodeControl(const ProfileState& profile) {
  return {{"id", profile.id}, {"name", profile.name}, {"apps", profile.apps}};
}

ControlJSON encodeControl(const DeviceState& device) {
  return {{"id", device.id},
          {"name", device.name},
          {"inputs", device.inputs},
          {"outputs", device.outputs},
          {"sampleRate", device.sampleRate},
          {"defaultOutput", device.isDefaultOutput},
          {"defaultInput", device.isDefaultInput},
          {"own", device.isOwn}};
}

ControlJSON encodeControl(const ProgramGreeting& greeting) {
  return {{"name", "Sonmere"},           {"version", greeting.version},   {"protocol", greeting.protocol},
          {"process", greeting.process}, {"platform", greeting.platform}, {"settings", greeting.settings}};
}

ControlJSON encodeControl(const ProgramStatus& status) {
  return {{"version", status.program.version},
          {"protocol", status.program.protocol},
          {"process", status.program.process},
          {"platform", status.program.platform},
          {"reason", status.platformReason},
          {"uptimeSeconds", status.uptimeSeconds},
          {"routingEnabled", status.routingEnabled},
          {"mixerEnabled", status.mixerEnabled},
          {"apps", status.apps},
          {"runningApps", status.runningApps},
          {"routedApps", status.routedApps},
          {"mixedApps", status.mixedApps},
          {"runningBuses", status.runningBuses},
          {"recordings", status.recordings},
          {"routingError", orNull(status.routingError)},
          {"mixerError", orNull(status.mixerError)},
          {"recordingError",
           status.recordingError.empty() ? ControlJSON(nullptr) : ControlJSON(status.recordingError)},
          {"recordingNotices", status.recordingNotices},
          {"micEnabled", status.micEnabled},
          {"micRunning", status.micRunning},
          {"micDevice", orNull(status.micDevice)},
          {"additionalInputs", status.additionalInputs},
          {"micError", orNull(status.micError)},
          {"pluginChains", status.pluginChains},
          {"plugins", status.plugins},
          {"pluginError", orNull(status.pluginError)}};
}

Outcome<AppEQSettings> decodeEqualiser(const ControlJSON& object) {
  AppEQSettings settings;
  ControlParams members(object);
  const auto read = [&](const char* name, double& target) {
    if (members.has(name)) target = members.number(name);
  };
  settings.isEnabled = members.flagOr("enabled", !object.empty());
  read("highPassHz", settings.highPassFreq);
  read("bellHz", settings.paraFreq);
  read("bellDb", settings.paraGain);
  read("bellQ", settings.paraQ);
  read("lowPassHz", settings.lowPassFreq);
  if (auto finished = members.finish(); !finished) return std::unexpected(finished.error());
  return settings;
}

}  // namespace sonmere
