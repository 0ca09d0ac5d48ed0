#pragma once

#include <array>
#include <memory>
#include <vector>

#include "base/Observable.h"
#include "base/Published.h"
#include "base/RenderClaim.h"
#include "base/RenderRetirement.h"
#include "dsp/MonitorSource.h"

namespace sonmere {

// Whose sound a monitor may hear, in the order in which it is summed.
enum class MonitorPlace { taps, buses, tracks, microphone, systemAudio };

// What a monitor's render sums, in this order; replaced as a whole.
struct MonitorList {
  std::vector<std::shared_ptr<MonitorSource>> sources;
};

// What the monitor's units share with who offers. Outlives them.
struct MonitorMix {
  Published<const MonitorList> list;
  RenderClaim claim;  // of the unit that reads the rings
};

// Every ring that a monitor may hear. Whoever writes such rings offers them here, so that the monitor knows
// no engine and no engine the monitor. Main thread.
class MonitorSources {
 public:
  explicit MonitorSources(RenderRetirement& retirement) : retirement_(retirement) {}

  // In place of what the place offered before; it has one owner, who takes the offer back with an empty one.
  // A source stays until no render can hold it.
  void offer(MonitorPlace place, std::vector<std::shared_ptr<MonitorSource>> sources);
  // The owner has switched sources on or off.
  void noteSwitched();

  // Whether there is a monitor to be heard by: while it is off, owners keep their sources off and what the
  // user wishes for later.
  OwnedObservable<bool, MonitorSources> isOn{true};
  void setOn(bool on) {
    if (on != *isOn) isOn.set(on);
  }
  // How many sources are on.
  OwnedObservable<int, MonitorSources> enabledCount{0};

  const std::shared_ptr<MonitorMix>& mix() const { return mix_; }
  // The next block of each begins with what is written from then on.
  void startLive();

 private:
  RenderRetirement& retirement_;
  std::array<std::vector<std::shared_ptr<MonitorSource>>, 5> places_;
  const std::shared_ptr<MonitorMix> mix_ = std::make_shared<MonitorMix>();
};

}  // namespace sonmere
