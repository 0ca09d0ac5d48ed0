#include "platform/simulated/SimulatedChainHelper.h"

#include "audio/effects/ChainService.h"
#include "base/RealtimePass.h"

namespace sonmere {

namespace {
// How soon the death of a process is noticed.
constexpr Duration kDeathInterval = fromMilliseconds(20);
}  // namespace

class SimulatedChainHelper::Link final : public ChainLink {
 public:
  explicit Link(std::shared_ptr<SimulatedFate> fate) : fate_(std::move(fate)) {}

  SharedChain& memory() noexcept override { return *memory_; }
  void wake() noexcept SONMERE_NONBLOCKING override {
    const RealtimePass pass(RealtimePass::Kind::elsewhere);
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (!lock || fate_->kind != SimulatedFate::Kind::lives) return;
    const std::uint32_t answered = memory_->answered;
    answerBlocks(*memory_, chain_.get());
    // The block that was its end is never answered.
    if (fate_->kind != SimulatedFate::Kind::lives) {
      memory_->answered = answered;
      memory_->running = culprit();
    }
  }
  void setChain(std::shared_ptr<const PluginChainSnapshot> chain) {
    const std::lock_guard lock(mutex_);
    chain_ = std::move(chain);
  }

 private:
  // The last effect that failed with its process.
  std::int32_t culprit() const noexcept {
    for (const auto& plugin : chain_->plugins)
      if (plugin->consecutiveRenderErrors > 0) return plugin->key;
    return 0;
  }

  const std::shared_ptr<SimulatedFate> fate_;
  const std::unique_ptr<SharedChain> memory_ = std::make_unique<SharedChain>();
  std::mutex mutex_;  // between the simulated audio thread and the main thread
  std::shared_ptr<const PluginChainSnapshot> chain_;
};

SimulatedChainHelper::SimulatedChainHelper(Runtime& runtime, FaultPlan& faults,
                                           std::shared_ptr<SimulatedFate> fate, ChainRunner::Factory factory)
    : runtime_(runtime),
      faults_(faults),
      fate_(std::move(fate)),
      link_(std::make_shared<Link>(fate_)),
      runner_(std::move(factory), &link_->memory()) {
  watch_ = runtime.mainQueue().repeat(kDeathInterval, [this] { look(); });
}

void SimulatedChainHelper::later(Task task) { runtime_.mainQueue().post(lifetime_.guard(std::move(task))); }

void SimulatedChainHelper::look() {
  if (fate_->kind != SimulatedFate::Kind::crashed) return;
  watch_.cancel();
  if (ended) ended("has crashed (signal 11)");
}

std::shared_ptr<ChainLink> SimulatedChainHelper::link() { return link_; }

void SimulatedChainHelper::apply(const ChainPlan& plan, Planned done) {
  if (const auto status = faults_.next(Operation::effectHelperApply))
    return later([done, code = *status] {
      done(std::unexpected(Error{"Plugins", code, "can't be started"}));
    });
  if (!lives()) return;
  ChainReport report = runner_.apply(plan);
  link_->setChain(runner_.snapshot());
  later([done, report] { done(report); });
}

void SimulatedChainHelper::setControl(int key, const std::string& symbol, float value) {
  runner_.setControl(key, symbol, value);
}

void SimulatedChainHelper::setBypassed(int key, bool bypassed) { runner_.setBypassed(key, bypassed); }

void SimulatedChainHelper::saveStates(Saved done) {
  if (const auto status = faults_.next(Operation::effectState))
    return later([done, code = *status] { done(std::unexpected(Error{"Plugins", code, "has no state"})); });
  later([done, states = runner_.states()] { done(states); });
}

}  // namespace sonmere
