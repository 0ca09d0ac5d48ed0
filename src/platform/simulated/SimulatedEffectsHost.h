#pragma once

#include <memory>
#include <set>
#include <string>

#include "audio/effects/EffectsHost.h"
#include "base/Lifetime.h"
#include "base/Runtime.h"
#include "platform/simulated/FaultPlan.h"
#include "platform/simulated/SimulatedEffect.h"

namespace sonmere {

// The effects of the simulated machine, and, behind them, those of an outside host. Its helpers run inside
// this process, in step with the render. Main thread; the fault plan and the outside host outlive it.
class SimulatedEffectsHost final : public EffectsHost {
 public:
  SimulatedEffectsHost(Runtime& runtime, FaultPlan& faults) : runtime_(runtime), faults_(faults) {}

  void availableEffects(Listed completion) override;
  void describe(const std::string& id, Described completion) override;
  void presetState(const std::string& id, const std::string& preset, PresetRead completion) override;
  std::string fileStamp(const AvailableEffect& effect) override;
  Outcome<std::shared_ptr<Effect>> instantiate(const std::string& id, double sampleRate,
                                               const std::string& state) override;
  Outcome<std::unique_ptr<ChainHelper>> startHelper() override;
  void test(const std::string& id, Tested completion) override;

  // Null for none.
  void setOutside(EffectsHost* outside) { outside_ = outside; }
  // Somebody deletes or replaces the file of an effect.
  void removeFile(const std::string& id) { removed_.insert(id); }
  void replaceFile(const std::string& id) { ++versions_[id]; }
  // Kills the newest helper that lives. False when there is none.
  bool killHelper();
  int livingHelpers() const;

 private:
  std::optional<EffectDetails> find(const std::string& id) const;
  // An instance that shares the fate of the process it is in.
  Outcome<std::shared_ptr<Effect>> make(const std::string& id, double sampleRate, const std::string& state,
                                        SimulatedFate* fate);
  // Whether the operation is to fail now.
  std::optional<Error> fault(Operation operation, const char* what);
  void later(Task task);

  Runtime& runtime_;
  FaultPlan& faults_;
  EffectsHost* outside_ = nullptr;
  std::set<std::string> removed_;
  std::map<std::string, int> versions_;
  std::vector<std::weak_ptr<SimulatedFate>> fates_;
  Lifetime lifetime_;
};

}  // namespace sonmere
