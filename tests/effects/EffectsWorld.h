#pragma once

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "audio/effects/PluginChains.h"
#include "base/Log.h"
#include "base/Published.h"
#include "base/RenderRetirement.h"
#include "base/VirtualRuntime.h"
#include "platform/simulated/SimulatedEffectsHost.h"

namespace sonmere {

// Chains on the simulated host in virtual time, and a render that stands for an engine's.
struct EffectsWorld {
  EffectsWorld() {
    log.addSink([this](LogLevel level, const std::string& line) {
      if (level != LogLevel::debug) lines.push_back(line);
    });
  }

  void wait(double seconds) { runtime.advance(fromSeconds(seconds)); }
  void place(double rate = 48000) {
    PluginChains::Places places;
    places[scope] = {rate, this, [this](std::shared_ptr<const PluginChainSnapshot> next) {
                       published.publish(std::move(next), retirement, PluginChainSnapshot::kGrace);
                     }};
    chains->setPlaces("test", std::move(places));
  }
  void noPlace() { chains->setPlaces("test", {}); }
  Outcome<void> add(const std::string& id) {
    Outcome<void> result = std::unexpected(Error{"Test", 0, "no answer"});
    chains->add(scope, id, std::nullopt, [&](const Outcome<EffectDetails>& added) {
      result = added ? Outcome<void>() : std::unexpected(added.error());
    });
    wait(0.01);
    return result;
  }
  // One block through the chain as an engine's callback does it.
  std::vector<float> render(std::vector<float> block) {
    const RealtimeScope realtime;
    const RenderReader::Block inside(*reader);
    if (const PluginChainSnapshot* chain = published.load())
      chain->render(block.data(), std::uint32_t(block.size() / 2));
    return block;
  }
  // A block in which every sample is of this value, and the first of what came of it.
  float render(float value, std::size_t frames = 256) {
    return render(std::vector<float>(2 * frames, value))[0];
  }
  PluginChain& chain() { return chains->chain(scope); }
  std::string error() const { return chains->errorMessage->value_or(""); }

  VirtualRuntime runtime{1};
  Log log;
  std::vector<std::string> lines;
  MemorySettingsStore settings;
  FaultPlan faults;
  SimulatedEffectsHost host{runtime, faults};
  RenderRetirement retirement{runtime};
  std::shared_ptr<RenderReader> reader = [this] {
    auto made = std::make_shared<RenderReader>();
    retirement.addReader(made);
    return made;
  }();
  Published<const PluginChainSnapshot> published;
  PluginScope scope = PluginScope::ofBus(2);
  std::unique_ptr<PluginChains> chains = std::make_unique<PluginChains>(runtime, log, settings, &host);
};

}  // namespace sonmere
