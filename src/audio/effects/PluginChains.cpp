#include "audio/effects/PluginChains.h"

#include "base/ThreadRules.h"

#include <fmt/format.h>

namespace sonmere {

PluginChains::PluginChains(Runtime& runtime, Log& log, SettingsStore& settings, EffectsHost* host)
    : intake_(settings, host),
      context_{runtime,
               log,
               settings,
               host,
               intake_,
               [this] { pluginChainRevision.set(*pluginChainRevision + 1); },
               [this](const std::string& message) {
                 if (message.empty()) return errorMessage.set(std::nullopt);
                 context_.log.warning("Sonmere: " + message);
                 errorMessage.set(message);
               }} {
  for (const PluginScope& scope : PluginChainStore::scopes(settings)) chain(scope);
}

PluginChain& PluginChains::chain(const PluginScope& scope) {
  assertMain();
  auto& found = chains_[scope];
  if (!found) found = std::make_unique<PluginChain>(context_, scope);
  return *found;
}

std::vector<const PluginChain*> PluginChains::chains() const {
  std::vector<const PluginChain*> all;
  for (const auto& [scope, chain] : chains_)
    if (!chain->plugins().empty() || chain->sampleRate() > 0) all.push_back(chain.get());
  return all;
}

void PluginChains::setPlaces(const std::string& owner, Places places) {
  assertMain();
  Places& before = places_[owner];
  for (const auto& [scope, place] : before)
    if (!places.contains(scope)) chain(scope).setPlace(std::nullopt);
  before = std::move(places);
  // A copy: what a chain tells may bring other places.
  for (const auto& [scope, place] : Places(before)) chain(scope).setPlace(place);
}

void PluginChains::add(const PluginScope& scope, const std::string& id, std::optional<std::size_t> position,
                       Added done) {
  assertMain();
  intake_.admit(id, lifetime_.guard([this, scope, position,
                                     done = std::move(done)](const Outcome<EffectDetails>& details) {
    if (!details) return done(details);
    PluginChain& into = chain(scope);
    PluginChainStore::Entry entry;
    entry.id = details->effect.id;
    entry.name = details->effect.name;
    entry.mfrName = details->effect.manufacturer;
    if (into.insert(position.value_or(into.plugins().size()), std::move(entry))) return done(details);
    done(std::unexpected(
        Error{"Plugins", 3,
              fmt::format("the chain of {} has {} plug-ins; it takes no more there, or has no such place",
                          scope.text(), into.plugins().size())}));
  }));
}

}  // namespace sonmere
