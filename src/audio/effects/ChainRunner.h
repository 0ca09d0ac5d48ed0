#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "audio/effects/ChainPlan.h"
#include "audio/effects/ChainReport.h"
#include "audio/effects/PluginChainSnapshot.h"
#include "audio/effects/SharedChain.h"

namespace sonmere {

// Makes the effects of one chain after its plans, and keeps those that stay from plan to plan. One thread at
// a time, which is not the render's.
class ChainRunner {
 public:
  using Factory = std::function<Outcome<std::shared_ptr<Effect>>(const std::string& id, double sampleRate,
                                                                 const std::string& state)>;

  // `told`, where there is one, learns which plug-in is made and which one runs.
  explicit ChainRunner(Factory factory, SharedChain* told = nullptr);

  // An effect that can't be made is left out, with the reason in the report. At another rate every effect is
  // made anew with the state that it had.
  ChainReport apply(const ChainPlan& plan);
  // False when there is no such plug-in or control.
  bool setControl(int key, const std::string& symbol, float value);
  void setBypassed(int key, bool bypassed);
  // Of the effects that could tell it.
  std::map<int, std::string> states() const;
  ChainReport report() const;
  // What the last plan came to, for the render.
  const std::shared_ptr<const PluginChainSnapshot>& snapshot() const { return snapshot_; }

 private:
  struct Part {
    std::shared_ptr<HostedPlugin> hosted;
    std::string error;
  };
  Part make(const ChainPlan::Plugin& plugin, double sampleRate);
  const HostedPlugin* find(int key) const;

  const Factory factory_;
  SharedChain* const told_;
  const std::shared_ptr<PluginRenderScratch> scratch_ = std::make_shared<PluginRenderScratch>();
  double sampleRate_ = 0;
  std::vector<int> order_;
  std::map<int, Part> parts_;  // by key
  std::shared_ptr<const PluginChainSnapshot> snapshot_;
};

}  // namespace sonmere
