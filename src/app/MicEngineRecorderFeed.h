#pragma once

#include <memory>

#include "input/MicPassthroughEngine.h"
#include "recording/MicRecorderFeed.h"

namespace sonmere {

// The microphone's engine as the side of a recording that captures. The engine outlives it. Main thread.
class MicEngineRecorderFeed final : public MicRecorderFeed {
 public:
  explicit MicEngineRecorderFeed(MicPassthroughEngine& engine) : engine_(engine) {}

  bool isRunning() const override { return engine_.isRunning(); }
  double captureRate() const override {
    const auto route = engine_.route();
    return route ? route->captureRate : 0;
  }
  bool isStereo() const override { return engine_.isStereo(); }
  std::vector<Input> inputs() const override;
  void setRecorderRing(std::shared_ptr<RecorderRing> ring) override {
    engine_.setRecorderRing(std::move(ring));
  }
  void setInputRing(const std::string& id, std::shared_ptr<RecorderRing> ring) override {
    engine_.extras().setRecorderRing(id, std::move(ring));
  }

 private:
  MicPassthroughEngine& engine_;
};

}  // namespace sonmere
