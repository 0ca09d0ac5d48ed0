#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/ToneFerryApp.h"
#include "control/RecordingHealthState.h"
#include "control/RecordingState.h"

namespace sonmere {

// The recordings of the buses. Main thread.
class RecordingControl {
 public:
  explicit RecordingControl(ToneFerryApp& app) : app_(app) {}

  std::vector<RecordingState> list() const;
  RecordingHealthState health() const;
  // One act, whose files are one session. A bus that no app plays on is refused, since its recording would be
  // given up as stalled, and then none begins.
  Outcome<std::vector<RecordingState>> start(const std::vector<int>& buses);
  // `done` is told the path of the file once it is complete; a file that is gone is an error.
  void stop(int bus, std::function<void(Outcome<std::string>)> done);

 private:
  static Outcome<void> checkBus(int bus);
  Outcome<void> checkStart(int bus) const;

  ToneFerryApp& app_;
};

}  // namespace sonmere
