#include "control/ReportControl.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <algorithm>

#include "app/FileSettingsStore.h"
#include "app/ProgramVersion.h"
#include "base/RealtimeTimeLimit.h"
#include "control/ControlError.h"
#include "control/RecordingControl.h"

namespace sonmere {

ProgramGreeting ReportControl::greeting() const {
  return {kProgramVersion, kControlProtocol, int(::getpid()), platform_.name(),
          defaultSettingsPath().string()};
}

Outcome<ProgramGreeting> ReportControl::greet(std::optional<int> clientProtocol) const {
  if (clientProtocol.value_or(kControlProtocol) == kControlProtocol) return greeting();
  return std::unexpected(controlError(
      ControlFault::otherProtocol,
      fmt::format(
          "the running Sonmere {} speaks version {} of the control protocol, not {}; end it and start "
          "the same version as this program",
          kProgramVersion, kControlProtocol, *clientProtocol)));
}

void ReportControl::addInput(ProgramStatus& status) const {
  MicPassthroughEngine& mic = *app_.micEngine();
  status.micEnabled = mic.isWanted();
  status.micRunning = mic.isRunning();
  if (const auto device = mic.devices().selected()) status.micDevice = device->name;
  status.additionalInputs = int(mic.extras().extraSources->size());
  status.micError = *mic.errorMessage;
  for (const PluginChain* chain : app_.pluginChains().chains()) {
    status.pluginChains += chain->plugins().empty() ? 0 : 1;
    status.plugins += int(chain->plugins().size());
  }
  status.pluginError = *app_.pluginChains().errorMessage;
}

ProgramStatus ReportControl::status() const {
  const AppTapEngine& engine = *app_.appTapEngine();
  const VolumeMixerEngine& mixer = *app_.volumeMixerEngine();
  ProgramStatus status;
  status.program = greeting();
  status.platformReason = platform_.reason();
  status.uptimeSeconds = toSeconds(app_.context().runtime.uptime());
  status.routingEnabled = engine.isGlobalEnabled();
  status.mixerEnabled = *mixer.isEnabled;
  status.apps = int(engine.availableApps->size());
  status.runningApps = int(std::ranges::count_if(
      *engine.availableApps, [](const TappedAppInfo& row) { return !row.audioObjectIDs.empty(); }));
  status.routedApps = int(engine.routedBundleIDs().size());
  status.mixedApps = int(mixer.activeTaps().size());
  for (int bus = 0; bus < kBusCount; ++bus)
    if (app_.appTapEngine()->isBusRunning(bus)) status.runningBuses.push_back(bus);
  status.recordings = int(app_.recordings()->busRecordingStatuses->size());
  status.routingError = *app_.appTapEngine()->errorMessage();
  status.mixerError = *mixer.errorMessage;
  status.recordingError = *app_.recordings()->errorMessage;
  status.recordingNotices = RecordingControl(app_).health().notices;
  addInput(status);
  return status;
}

std::string ReportControl::report() const {
  const ProgramStatus now = status();
  std::string text = fmt::format("Platform: {} ({})\nUptime: {:.0f} s\n", now.program.platform,
                                 now.platformReason, now.uptimeSeconds);
  text +=
      fmt::format("Apps: {} rows, {} playing\nRouting: {}, {} apps, buses running: {}\n", now.apps,
                  now.runningApps, now.routingEnabled ? "on" : "off", now.routedApps,
                  now.runningBuses.empty() ? "none" : fmt::format("{}", fmt::join(now.runningBuses, ", ")));
  text += fmt::format("Per-app volume: {}, {} apps\nRecordings: {}\n", now.mixerEnabled ? "on" : "off",
                      now.mixedApps, now.recordings);
  if (!now.recordingError.empty()) text += "Recording's last error: " + now.recordingError + "\n";
  for (const RouteHealthEntry& route : app_.context().routes.health())
    text += fmt::format("{}: {}{}\n", route.name, verdictText(route.verdict),
                        route.detail.empty() ? "" : ", " + route.detail);
  if (!RealtimeTimeLimit::allowsRealtime())
    text += "Audio threads have no real-time priority: the limit of their time would end the program\n";
  if (const int lost = RealtimeTimeLimit::lostPriorities())
    text += fmt::format("Audio threads that lost real-time priority, working too long at once: {}\n", lost);
  for (const std::string& notice : now.recordingNotices) text += "Recording: " + notice + "\n";
  return text + "\n" + app_.latencyProbe().report();
}

}  // namespace sonmere
