#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/pipewire/CycleStream.h"

struct spa_source;

namespace sonmere {

// Hidden devices of muted taps that were stopped a moment ago. The apps in them stay silent for that moment:
// a tap that is made anew takes them over, and what they play is not heard elsewhere in between. Guarded by
// the loop's lock.
class LingeringTaps {
 public:
  explicit LingeringTaps(PipeWireLoop& loop);
  ~LingeringTaps();

  // The stream is silenced. `release` lets the apps go, just before the device does.
  void keep(std::unique_ptr<CycleStream> stream, std::function<void()> release);
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
