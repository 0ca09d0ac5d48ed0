#include "recording/RecordingWatch.h"

namespace sonmere {

std::optional<std::string> RecordingWatch::stalledFile(std::span<const Active> active, Duration now) {
  const auto previous = std::exchange(stallTracker_, {});
  for (const Active& file : active) {
    const auto known = previous.find(file.file);
    const std::int64_t received = file.framesWritten + file.framesWaiting;
    if (known == previous.end() || received > known->second.frames) {
      stallTracker_[file.file] = {received, now};
    } else if (now - known->second.since > fromSeconds(recordingStallTimeout)) {
      stallTracker_.clear();
      return file.file;
    } else {
      stallTracker_[file.file] = known->second;
    }
  }
  return std::nullopt;
}

std::optional<RecordingWatch::Silent> RecordingWatch::newlySilent(std::span<const Active> active) {
  for (const Active& file : active) {
    const double seconds = double(file.framesWritten) / (file.sampleRate > 0 ? file.sampleRate : 48000.0);
    if (file.everHadSignal || seconds <= silentRecordingWarnAfterSeconds) continue;
    if (silentReported_.insert(file.file).second) return Silent{file.file, seconds};
  }
  return std::nullopt;
}

void RecordingWatch::clear() {
  stallTracker_.clear();
  silentReported_.clear();
}

}  // namespace sonmere
