#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/ToneFerryApp.h"
#include "control/RecordingState.h"

namespace sonmere {

// The recordings of the buses. Main thread.
class RecordingControl {
 public:
  explicit RecordingControl(ToneFerryApp& app) : app_(app) {}

  std::vector<RecordingState> list() const;
  // A bus that no app plays on is refused: its recording would be given up as stalled.
  Outcome<RecordingState> start(int bus);
  // `done` is told the path of the file once it is complete.
  void stop(int bus, std::function<void(Outcome<std::string>)> done);

 private:
  ToneFerryApp& app_;
};

}  // namespace sonmere
