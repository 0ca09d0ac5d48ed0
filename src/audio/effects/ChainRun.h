#pragma once

#include <functional>
#include <memory>
#include <string>

#include "audio/effects/ChainHelper.h"
#include "audio/effects/PluginChainSnapshot.h"

namespace sonmere {

// What makes a chain sound, in this process or in another. Main thread.
class ChainRun {
 public:
  virtual ~ChainRun() = default;
  // It runs no more: why, and the key of the plug-in that is to blame, 0 when nobody knows.
  std::function<void(const std::string& reason, int culprit)> failed;

  virtual void apply(const ChainPlan& plan, ChainHelper::Planned done) = 0;
  virtual void setControl(int key, const std::string& symbol, float value) = 0;
  virtual void setBypassed(int key, bool bypassed) = 0;
  virtual void saveStates(ChainHelper::Saved done) = 0;

  // For the render, once a plan was applied.
  virtual std::shared_ptr<const PluginChainSnapshot> snapshot() const = 0;
  // Latencies and bypasses as they are now.
  virtual void refresh(ChainReport& report) const = 0;
  // What the way to the chain adds, in frames.
  virtual int delayFrames() const = 0;
  // Whether the whole chain has bypassed itself.
  virtual bool isOverrun() const = 0;
};

}  // namespace sonmere
