#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "audio/effects/PluginChain.h"
#include "base/Lifetime.h"
#include "base/Observable.h"

namespace sonmere {

// The chains of all scopes. Engines say where each sounds; the user says what is in it. Main thread; outlives
// the engines that give it places.
class PluginChains {
 public:
  // `host` may be null: chains are kept, and none sounds.
  PluginChains(Runtime& runtime, Log& log, SettingsStore& settings, EffectsHost* host);

  // All places of one engine, by scope: those that it had and that are missing are gone when this returns.
  using Places = std::map<PluginScope, ChainPlace>;
  void setPlaces(const std::string& owner, Places places);

  // The chain, made when it is first asked for.
  PluginChain& chain(const PluginScope& scope);
  // Those that hold anything or have a place, in the order of their scopes.
  std::vector<const PluginChain*> chains() const;
  EffectIntake& intake() { return intake_; }
  EffectsHost* host() { return context_.host; }

  // Looks the effect up, has it tried and puts it into the chain; the error says why not.
  using Added = std::function<void(const Outcome<EffectDetails>&)>;
  void add(const PluginScope& scope, const std::string& id, std::optional<std::size_t> position, Added done);

  // Goes up with every change of a chain.
  OwnedObservable<int, PluginChains> pluginChainRevision{0};
  // The last thing that the user is to know of, until a chain is changed by them.
  OwnedObservable<std::optional<std::string>, PluginChains> errorMessage;

 private:
  EffectIntake intake_;
  ChainContext context_;
  std::map<PluginScope, std::unique_ptr<PluginChain>> chains_;
  std::map<std::string, Places> places_;  // by owner
  Lifetime lifetime_;
};

}  // namespace sonmere
