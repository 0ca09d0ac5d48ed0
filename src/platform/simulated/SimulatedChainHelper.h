#pragma once

#include <memory>
#include <mutex>

#include "audio/effects/ChainHelper.h"
#include "audio/effects/ChainRunner.h"
#include "base/Lifetime.h"
#include "base/Runtime.h"
#include "platform/simulated/FaultPlan.h"
#include "platform/simulated/SimulatedEffect.h"

namespace sonmere {

// A helper whose process is simulated: its audio thread is the call that wakes it, so that an answer is there
// when the next block comes, and it dies when one of its effects says so.
class SimulatedChainHelper final : public ChainHelper {
 public:
  SimulatedChainHelper(Runtime& runtime, FaultPlan& faults, std::shared_ptr<SimulatedFate> fate,
                       ChainRunner::Factory factory);

  void apply(const ChainPlan& plan, Planned done) override;
  void setControl(int key, const std::string& symbol, float value) override;
  void setBypassed(int key, bool bypassed) override;
  void saveStates(Saved done) override;
  std::shared_ptr<ChainLink> link() override;

 private:
  class Link;
  bool lives() const { return fate_->kind == SimulatedFate::Kind::lives; }
  void look();
  void later(Task task);

  Runtime& runtime_;
  FaultPlan& faults_;
  const std::shared_ptr<SimulatedFate> fate_;
  const std::shared_ptr<Link> link_;
  ChainRunner runner_;
  ScopedTask watch_;
  Lifetime lifetime_;
};

}  // namespace sonmere
