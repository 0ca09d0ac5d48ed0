#include "audio/effects/IsolatedRun.h"

#include <algorithm>

namespace sonmere {

IsolatedRun::IsolatedRun(Runtime& runtime, std::unique_ptr<ChainHelper> helper, IsolatedChain::Begin begin)
    : link_(helper->link()), begin_(begin), helper_(std::move(helper)) {
  helper_->ended = [this](const std::string& reason) { fail(reason); };
  watch_ = runtime.mainQueue().repeat(kLookInterval, [this] { look(); });
}

void IsolatedRun::apply(const ChainPlan& plan, ChainHelper::Planned done) {
  helper_->apply(plan, [this, rate = plan.sampleRate, done = std::move(done)](Outcome<ChainReport> report) {
    if (!report) return fail(report.error().description);
    build(rate);
    done(std::move(report));
  });
}

// The way stays the same whatever runs behind it.
void IsolatedRun::build(double sampleRate) {
  if (chain_) return chain_->setSampleRate(sampleRate);
  chain_ = std::make_shared<IsolatedChain>(link_, sampleRate, begin_);
  plugin_ = std::make_shared<HostedPlugin>(AvailableEffect{}, chain_, sampleRate);
  auto snapshot = std::make_shared<PluginChainSnapshot>();
  snapshot->plugins = {plugin_};
  snapshot->scratch = std::make_shared<PluginRenderScratch>();
  snapshot_ = std::move(snapshot);
}

void IsolatedRun::refresh(ChainReport& report) const {
  const SharedChain& memory = link_->memory();
  const std::uint64_t bypassed = memory.autoBypassed.load(std::memory_order_relaxed);
  std::size_t place = 0;
  for (ChainReport::Plugin& plugin : report.plugins) {
    if (!plugin.error.empty() || place >= SharedChain::kMostPlugins) continue;
    plugin.latencyFrames = int(memory.latencies[place].load(std::memory_order_relaxed));
    plugin.autoBypassed = (bypassed >> place & 1) != 0;
    ++place;
  }
}

void IsolatedRun::look() {
  if (!chain_) return;
  const std::uint32_t answered = chain_->answered();
  const bool isStuck = answered != chain_->handed() && answered == lastAnswered_;
  lastAnswered_ = answered;
  waits_ = isStuck ? waits_ + 1 : 0;
  if (waits_ >= kPatience) fail("does not answer");
}

int IsolatedRun::culprit() const {
  const SharedChain& memory = link_->memory();
  const int making = memory.making.load(std::memory_order_relaxed);
  return making != 0 ? making : memory.running.load(std::memory_order_relaxed);
}

void IsolatedRun::fail(const std::string& reason) {
  watch_.cancel();
  // Whoever is told may destroy this.
  const auto tell = std::exchange(failed, nullptr);
  if (tell) tell(reason, culprit());
}

}  // namespace sonmere
