#pragma once

#include <memory>
#include <string>
#include <vector>

#include "dsp/RecorderRing.h"

namespace sonmere {

// The microphone's engine, as the recordings see it. Main thread.
class MicRecorderFeed {
 public:
  struct Input {
    std::string id;
    std::string label;  // the user's
  };

  virtual ~MicRecorderFeed() = default;
  virtual bool isRunning() const = 0;
  // Hz; 0 when unknown.
  virtual double captureRate() const = 0;
  // Whether its two sides may differ.
  virtual bool isStereo() const = 0;
  // Those that are mixed into it now, each of one channel.
  virtual std::vector<Input> inputs() const = 0;
  // From the capture's next block on it fills this ring and tells it the rate, or none when null. A block
  // under way may still write into the old ring: whoever publishes keeps it alive until that is over.
  virtual void setRecorderRing(std::shared_ptr<RecorderRing> ring) = 0;
  virtual void setInputRing(const std::string& id, std::shared_ptr<RecorderRing> ring) = 0;
};

}  // namespace sonmere
