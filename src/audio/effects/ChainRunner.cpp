#include "audio/effects/ChainRunner.h"

#include <utility>

namespace sonmere {

ChainRunner::ChainRunner(Factory factory, SharedChain* told) : factory_(std::move(factory)), told_(told) {}

ChainRunner::Part ChainRunner::make(const ChainPlan::Plugin& plugin, double sampleRate) {
  std::string state = plugin.state;
  const auto old = parts_.find(plugin.key);
  const bool isOld = old != parts_.end() && old->second.hosted;
  if (isOld && sampleRate == sampleRate_) return old->second;
  // Only the rate is another: it goes on with what it was.
  if (isOld)
    if (auto now = old->second.hosted->instance->fullState(); now && !now->empty()) state = *now;
  if (told_) told_->making = plugin.key;
  auto made = factory_(plugin.id, sampleRate, state);
  if (told_) told_->making = 0;
  if (!made) return {nullptr, made.error().description};
  AvailableEffect effect;
  effect.id = plugin.id;
  Part part{std::make_shared<HostedPlugin>(std::move(effect), std::move(*made), sampleRate), {}};
  part.hosted->key = plugin.key;
  if (isOld)
    for (const auto& [symbol, value] : old->second.hosted->instance->values())
      part.hosted->instance->setControl(symbol, value);
  for (const auto& [symbol, value] : plugin.values) part.hosted->instance->setControl(symbol, value);
  return part;
}

ChainReport ChainRunner::apply(const ChainPlan& plan) {
  std::map<int, Part> parts;
  std::vector<int> order;
  auto snapshot = std::make_shared<PluginChainSnapshot>();
  snapshot->scratch = scratch_;
  snapshot->running = told_ ? &told_->running : nullptr;
  for (const ChainPlan::Plugin& plugin : plan.plugins) {
    Part part = make(plugin, plan.sampleRate);
    if (part.hosted) {
      part.hosted->bypassed = plugin.bypassed;
      snapshot->plugins.push_back(part.hosted);
    }
    order.push_back(plugin.key);
    parts[plugin.key] = std::move(part);
  }
  parts_ = std::move(parts);
  order_ = std::move(order);
  sampleRate_ = plan.sampleRate;
  snapshot_ = std::move(snapshot);
  return report();
}

const HostedPlugin* ChainRunner::find(int key) const {
  const auto found = parts_.find(key);
  return found == parts_.end() ? nullptr : found->second.hosted.get();
}

bool ChainRunner::setControl(int key, const std::string& symbol, float value) {
  const HostedPlugin* plugin = find(key);
  return plugin && plugin->instance->setControl(symbol, value);
}

void ChainRunner::setBypassed(int key, bool bypassed) {
  const auto found = parts_.find(key);
  if (found != parts_.end() && found->second.hosted) found->second.hosted->bypassed = bypassed;
}

std::map<int, std::string> ChainRunner::states() const {
  std::map<int, std::string> all;
  for (const auto& [key, part] : parts_)
    if (part.hosted)
      if (auto state = part.hosted->instance->fullState()) all[key] = std::move(*state);
  return all;
}

ChainReport ChainRunner::report() const {
  ChainReport report;
  for (const int key : order_) {
    const Part& part = parts_.at(key);
    ChainReport::Plugin plugin{key, part.error, 0, false, {}};
    if (part.hosted) {
      plugin.latencyFrames = part.hosted->latencyFrames();
      plugin.autoBypassed = part.hosted->autoBypassed;
      plugin.values = part.hosted->instance->values();
    }
    report.plugins.push_back(std::move(plugin));
  }
  return report;
}

}  // namespace sonmere
