#pragma once

#include <string_view>
#include <vector>

#include "recording/library/RecordingSession.h"

namespace sonmere {

// Gathers recordings into sessions: one for each stamp. Two sessions that began within one second are one.
class RecordingSessions {
 public:
  explicit RecordingSessions(std::size_t expectedFiles) { found_.reserve(expectedFiles); }

  // The stamp is one that a recording's name has; its text must stay until `take`.
  void add(std::string_view stamp, RecordingFile file);
  // The newest first, those whose stamp is no date last. The files of a session stand by their names, with
  // numbers in them in the order of numbers: "Track 2" before "Track 10". Parts of a recording are one file.
  std::vector<RecordingSession> take();

 private:
  struct Found {
    std::string_view stamp;
    RecordingFile file;
  };
  std::vector<Found> found_;
};

}  // namespace sonmere
