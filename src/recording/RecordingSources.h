#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/Observable.h"
#include "base/Runtime.h"
#include "base/TaskToken.h"
#include "recording/BusRecordings.h"

namespace sonmere {

// What is heard in a recording of the bridge and can be switched on for it: the microphone, the system's
// audio. What a layout needs and is off is switched on before the recording begins, and off again when it has
// ended, however it ended. Main thread.
class RecordingSources {
 public:
  struct Source {
    std::string name;  // as a user knows it
    std::function<bool()> isOn;
    std::function<void(bool on)> set;
    // Comes on both channels of the bridge: no use for a layout that keeps these apart.
    bool fillsBothChannels = false;
  };

  // `bridgeIsFed` says whether something plays on the bridge anyway. The recordings outlive this.
  RecordingSources(const RecordingContext& context, BusRecordings& recordings,
                   std::function<bool()> bridgeIsFed);

  void add(Source source) { sources_.push_back(std::move(source)); }
  // What the layout in the settings would have switched on now.
  std::vector<std::string> missing() const;
  // Switches that on, and calls `start` when it has come up: at once where nothing was missing. Once it has
  // returned, what was switched on for a recording that did not begin is off again.
  void prepare(std::function<void()> start);

 private:
  std::vector<const Source*> lacking() const;
  void release();
  void releaseWhenIdle();

  const RecordingContext& context_;
  BusRecordings& recordings_;
  const std::function<bool()> bridgeIsFed_;
  std::vector<Source> sources_;
  std::vector<std::function<void(bool)>> switchedOn_;
  bool isPreparing_ = false;
  ScopedTask comingUp_, look_;
  Subscription rows_;
};

}  // namespace sonmere
