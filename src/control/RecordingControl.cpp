#include "control/RecordingControl.h"

#include <fmt/format.h>

#include <algorithm>

#include "control/ControlError.h"

namespace sonmere {

namespace {

std::unexpected<Error> refuse(ControlFault fault, std::string text) {
  return std::unexpected(controlError(fault, std::move(text)));
}

}  // namespace

std::vector<RecordingState> RecordingControl::list() const {
  std::vector<RecordingState> all;
  const Date now = app_.context().runtime.wallTime();
  for (const auto& [bus, status] : *app_.recordings()->busRecordingStatuses)
    all.push_back({bus, status.path, toSeconds(now - status.startedAt), status.framesWritten,
                   status.bytesWritten, status.lostFrames});
  return all;
}

Outcome<RecordingState> RecordingControl::start(int bus) {
  BusRecordings& recordings = *app_.recordings();
  if (!isRoutableBus(bus))
    return refuse(
        ControlFault::badValue,
        fmt::format("bus {} can't be recorded; use 0 for the bridge or 2 to 9 for Track 1 to 8", bus));
  if (recordings.isRecording(bus))
    return refuse(ControlFault::badValue, fmt::format("bus {} is being recorded already", bus));
  if (!app_.appTapEngine()->outputs().isRunning(bus))
    return refuse(ControlFault::badValue, fmt::format("no app plays on bus {}; route one to it first", bus));
  recordings.startRecording(bus);
  if (!recordings.isRecording(bus)) return refuse(ControlFault::failed, *recordings.errorMessage);
  const auto all = list();
  return *std::ranges::find(all, bus, &RecordingState::bus);
}

void RecordingControl::stop(int bus, std::function<void(Outcome<std::string>)> done) {
  app_.recordings()->stopRecording(bus, [bus, done = std::move(done)](std::optional<std::string> path) {
    if (path) return done(std::move(*path));
    done(refuse(ControlFault::notFound, fmt::format("bus {} is not being recorded", bus)));
  });
}

}  // namespace sonmere
