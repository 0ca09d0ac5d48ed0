#pragma once

#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>

#include "base/Time.h"

namespace sonmere {

// Looks for recordings that stopped receiving audio and for recordings that are silent. Main thread.
class RecordingWatch {
 public:
  struct Active {
    std::string file;  // last path component
    std::int64_t framesWritten = 0;
    double sampleRate = 0;  // Hz; 48000 when not above zero
    bool everHadSignal = false;
    std::int64_t framesWaiting = 0;  // received, and not written yet
  };
  struct Silent {
    std::string file;
    double seconds = 0;
  };

  // A file whose count has not grown for longer than the timeout, as of uptime `now`; finding one starts all
  // over. Call it at each tick with all files that are being recorded.
  std::optional<std::string> stalledFile(std::span<const Active> active, Duration now);
  // A file that has been silent for longer than the warning time and has not been reported yet.
  std::optional<Silent> newlySilent(std::span<const Active> active);
  // When nothing is recorded any more.
  void clear();

  double silentRecordingWarnAfterSeconds = 10;
  double recordingStallTimeout = 15;  // seconds

 private:
  struct Progress {
    std::int64_t frames;
    Duration since;
  };
  std::map<std::string, Progress> stallTracker_;
  std::set<std::string> silentReported_;
};

}  // namespace sonmere
