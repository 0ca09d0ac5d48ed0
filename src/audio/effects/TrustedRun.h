#pragma once

#include "audio/effects/ChainRun.h"
#include "audio/effects/ChainRunner.h"
#include "audio/effects/EffectsHost.h"

namespace sonmere {

// A chain inside this process: no delay, and nothing between its plug-ins and the program.
class TrustedRun final : public ChainRun {
 public:
  explicit TrustedRun(EffectsHost& host)
      : runner_([&host](const std::string& id, double sampleRate, const std::string& state) {
          return host.instantiate(id, sampleRate, state);
        }) {}

  void apply(const ChainPlan& plan, ChainHelper::Planned done) override { done(runner_.apply(plan)); }
  void setControl(int key, const std::string& symbol, float value) override {
    runner_.setControl(key, symbol, value);
  }
  void setBypassed(int key, bool bypassed) override { runner_.setBypassed(key, bypassed); }
  void saveStates(ChainHelper::Saved done) override { done(runner_.states()); }
  std::shared_ptr<const PluginChainSnapshot> snapshot() const override { return runner_.snapshot(); }
  void refresh(ChainReport& report) const override { report = runner_.report(); }
  int delayFrames() const override { return 0; }
  bool isOverrun() const override { return false; }

 private:
  ChainRunner runner_;
};

}  // namespace sonmere
