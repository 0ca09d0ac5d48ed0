#pragma once

#include <memory>
#include <optional>

#include "audio/effects/ChainRun.h"
#include "audio/effects/IsolatedChain.h"
#include "base/Runtime.h"

namespace sonmere {

// A chain in a process of its own, and the watch over that process: one that does not answer is given up like
// one that has died.
class IsolatedRun final : public ChainRun {
 public:
  IsolatedRun(Runtime& runtime, std::unique_ptr<ChainHelper> helper,
              IsolatedChain::Begin begin = IsolatedChain::Begin::dry);

  void apply(const ChainPlan& plan, ChainHelper::Planned done) override;
  void setControl(int key, const std::string& symbol, float value) override {
    helper_->setControl(key, symbol, value);
  }
  void setBypassed(int key, bool bypassed) override { helper_->setBypassed(key, bypassed); }
  void saveStates(ChainHelper::Saved done) override { helper_->saveStates(std::move(done)); }
  std::shared_ptr<const PluginChainSnapshot> snapshot() const override { return snapshot_; }
  void refresh(ChainReport& report) const override;
  int delayFrames() const override { return chain_ ? int(chain_->delayFrames()) : 0; }
  // A process that answers nothing at all is no matter of speed.
  bool isOverrun() const override { return plugin_ && plugin_->autoBypassed && waits_ == 0; }

 private:
  // Looks in a row at which a block waits and none was answered: the process hangs.
  static constexpr int kPatience = 3;
  static constexpr Duration kLookInterval = fromMilliseconds(100);

  void build(double sampleRate);
  void look();
  void fail(const std::string& reason);
  int culprit() const;

  const std::shared_ptr<ChainLink> link_;
  const IsolatedChain::Begin begin_;
  std::unique_ptr<ChainHelper> helper_;
  std::shared_ptr<IsolatedChain> chain_;
  std::shared_ptr<HostedPlugin> plugin_;
  std::shared_ptr<const PluginChainSnapshot> snapshot_;
  std::uint32_t lastAnswered_ = 0;
  int waits_ = 0;
  ScopedTask watch_;
};

}  // namespace sonmere
