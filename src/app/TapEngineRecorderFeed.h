#pragma once

#include <memory>

#include "recording/RecorderFeed.h"
#include "routing/AppTapEngine.h"

namespace sonmere {

// The tap engine as the side of a recording that renders. The engine outlives it. Main thread.
class TapEngineRecorderFeed final : public RecorderFeed {
 public:
  explicit TapEngineRecorderFeed(AppTapEngine& engine) : engine_(engine) {}
  void setRecorderRing(int bus, std::shared_ptr<RecorderRing> ring) override {
    engine_.setRecorderRing(bus, std::move(ring));
  }
  double busSampleRate(int bus) const override { return engine_.busSampleRate(bus); }

 private:
  AppTapEngine& engine_;
};

}  // namespace sonmere
