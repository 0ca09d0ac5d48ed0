#include "control/RecordingControl.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "audio/device/BusName.h"
#include "control/ControlError.h"

namespace sonmere {

namespace {

std::unexpected<Error> refuse(ControlFault fault, std::string text) {
  return std::unexpected(controlError(fault, std::move(text)));
}

constexpr std::size_t kShownFailures = 20;

double peakDb(float peak) { return std::max(-120.0, 20 * std::log10(double(peak))); }

}  // namespace

std::vector<RecordingState> RecordingControl::list() const {
  std::vector<RecordingState> all;
  const Date now = app_.context().runtime.wallTime();
  for (const auto& [bus, status] : *app_.recordings()->busRecordingStatuses)
    all.push_back({bus, status.path, toSeconds(now - status.startedAt), status.framesWritten,
                   status.bytesWritten, status.lostFrames, peakDb(status.lastPeak), !status.everHadSignal});
  return all;
}

RecordingHealthState RecordingControl::health() const {
  RecordingHealthState health;
  const BusRecordings& recordings = *app_.recordings();
  for (const auto* notice :
       {&recordings.silentRecordingNotice, &recordings.fileNotice, &recordings.lossNotice})
    if (notice->get()) health.notices.push_back(*notice->get());
  health.failureCount = app_.recordingHealth()->failureCount();
  health.failures = app_.recordingHealth()->failures();
  if (health.failures.size() > kShownFailures)
    health.failures.erase(health.failures.begin(), health.failures.end() - kShownFailures);
  return health;
}

Outcome<void> RecordingControl::checkBus(int bus) {
  if (isRoutableBus(bus)) return {};
  return refuse(
      ControlFault::badValue,
      fmt::format("bus {} can't be recorded; those that can are 0, the bridge, and 2 to 9, Track 1 to 8",
                  bus));
}

Outcome<void> RecordingControl::checkStart(int bus) const {
  if (auto checked = checkBus(bus); !checked) return checked;
  if (app_.recordings()->isRecording(bus))
    return refuse(ControlFault::badValue, fmt::format("{} is being recorded already", busLabel(bus)));
  if (!app_.appTapEngine()->outputs().isRunning(bus))
    return refuse(ControlFault::badValue,
                  fmt::format("no app plays on {}; route one to it first", busLabel(bus)));
  return {};
}

Outcome<std::vector<RecordingState>> RecordingControl::start(const std::vector<int>& buses) {
  if (buses.empty()) return refuse(ControlFault::badValue, "name a bus to record");
  for (const int bus : buses)
    if (auto checked = checkStart(bus); !checked) return std::unexpected(checked.error());
  BusRecordings& recordings = *app_.recordings();
  recordings.startRecordings(buses);
  if (!recordings.isRecording(buses[0])) return refuse(ControlFault::failed, *recordings.errorMessage);
  auto started = list();
  std::erase_if(started, [&](const auto& each) { return std::ranges::find(buses, each.bus) == buses.end(); });
  return started;
}

void RecordingControl::stop(int bus, std::function<void(Outcome<std::string>)> done) {
  if (auto checked = checkBus(bus); !checked) return done(std::unexpected(checked.error()));
  const bool wasRecording = app_.recordings()->isRecording(bus);
  app_.recordings()->stopRecording(bus, [bus, wasRecording,
                                         done = std::move(done)](std::optional<std::string> path) {
    if (path) return done(std::move(*path));
    if (wasRecording)
      return done(refuse(ControlFault::failed,
                         fmt::format("the recording of {} ended, but its file was removed", busLabel(bus))));
    done(refuse(ControlFault::notFound, fmt::format("{} is not being recorded", busLabel(bus))));
  });
}

}  // namespace sonmere
