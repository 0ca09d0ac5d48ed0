#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/pipewire/CycleStream.h"

struct spa_source;

namespace sonmere {

// Streams of taps that were stopped a moment ago. Apps in the hidden device of a muted one stay silent for
// that moment: a tap that is made anew takes them over, and what they play is not heard elsewhere in between.
// A stream that goes while the server still links it would leave descriptors behind. Guarded by the loop's
// lock.
class LingeringTaps {
 public:
  explicit LingeringTaps(PipeWireLoop& loop);
  ~LingeringTaps();

  // The stream is silenced. `release` lets the apps go, just before the device does.
  void keep(std::unique_ptr<CycleStream> stream, std::function<void()> release);
  // Another tap like that one takes the stream over, with the apps in it: nothing is lost, nothing is heard
  // in between. `release` of the old one runs once the caller has made the stream its own. Null: there is
  // none.
  struct Taken {
    std::unique_ptr<CycleStream> stream;
    std::function<void()> release;
  };
  Taken take(const CycleStreamPlan& plan);
  // All at once, for the program ends.
  void releaseAll();
  // The server has gone, and nothing is to be released there.
  void forget() { taps_.clear(); }
  bool isEmpty() const { return taps_.empty(); }

 private:
  struct Tap {
    std::unique_ptr<CycleStream> stream;
    std::function<void()> release;
    bool isOld = false;
  };
  void tick();
  void schedule(bool isOn);

  PipeWireLoop& loop_;
  spa_source* timer_ = nullptr;
  std::vector<Tap> taps_;
};

}  // namespace sonmere
