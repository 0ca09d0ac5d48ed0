#pragma once

#include <string>
#include <vector>

#include "audio/engine/EngineContext.h"
#include "system/OutputRanking.h"

namespace sonmere {

// The public device that plays on an output and into the bridge at once. Recognised by its identifier's
// beginning alone, so that what an earlier run has left is found. Main thread.
class MultiOutput {
 public:
  explicit MultiOutput(EngineContext& context) : context_(context) {}

  // All there are, of this run or another.
  std::vector<AudioDeviceID> all() const;
  bool isOne(AudioDeviceID device) const;
  // The bridge at the output's rate, where it can run at it; waits for it to settle.
  void matchBridge(AudioDeviceID output, AudioDeviceID bridge) const;
  // The output is the clock, and what the bridge gets is drift-corrected.
  Result<AudioDeviceID> create(const OutputCandidate& output) const;
  void destroy(AudioDeviceID device) const;
  void destroyAllBut(AudioDeviceID kept) const;
  // Members of the device.
  std::vector<std::string> members(AudioDeviceID device) const;
  // Waits, where the server needs it.
  void pause(Duration time) const;

 private:
  EngineContext& context_;
};

}  // namespace sonmere
