#include "control/PluginControl.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "audio/effects/EffectControlText.h"
#include "base/AtomicFile.h"
#include "base/NumberText.h"
#include "control/AppMatch.h"
#include "control/ControlError.h"

namespace sonmere {

namespace {

std::unexpected<Error> refuse(ControlFault fault, std::string text) {
  return std::unexpected(controlError(fault, std::move(text)));
}

std::string lower(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
  return text;
}

std::string nameOf(const PluginChainStore::Entry& entry) {
  return entry.name.empty() ? entry.id : entry.name;
}

bool fits(const AvailableEffect& effect, const std::string& search) {
  const std::string all =
      lower(effect.name + " " + effect.manufacturer + " " + effect.category + " " + effect.id);
  for (std::size_t at = 0; at < search.size();) {
    const std::size_t end = std::min(search.find(' ', at), search.size());
    if (all.find(lower(search.substr(at, end - at))) == std::string::npos) return false;
    at = end + 1;
  }
  return true;
}

}  // namespace

const char* name(PluginChain::State state) {
  switch (state) {
    case PluginChain::State::idle:
      return "idle";
    case PluginChain::State::starting:
      return "starting";
    case PluginChain::State::running:
      return "running";
    case PluginChain::State::bypassed:
      return "bypassed";
  }
  return "";
}

Outcome<PluginScope> PluginControl::scopeOf(const std::string& text) const {
  const auto scope = PluginScope::fromText(text);
  if (!scope)
    return refuse(ControlFault::badValue,
                  fmt::format("\"{}\" is no scope; use mic, app:ID, or bus:N with N 0 or 2 to 9", text));
  if (scope->kind != PluginScope::Kind::app) return *scope;
  std::vector<AppName> apps;
  for (const TappedAppInfo& row : *app_.appTapEngine()->availableApps)
    apps.push_back({row.bundleID, row.name});
  const auto id = matchApp(scope->app, apps);
  if (id) return PluginScope::ofApp(*id);
  // One that does not run has a chain too.
  const bool isNone = id.error().code == std::int64_t(ControlFault::notFound);
  const bool isIdentifier = scope->app.find('.') != std::string::npos ||
                            !PluginChainStore::load(app_.context().settings, *scope).empty();
  if (isNone && isIdentifier) return *scope;
  return std::unexpected(id.error());
}

PluginChainState PluginControl::describe(const PluginScope& scope) const {
  const PluginChain& chain = chains().chain(scope);
  const double rate = chain.sampleRate();
  return {
      scope.text(), chain.state(),  chain.isTrusted(), rate > 0 ? 1000.0 * chain.latencyFrames() / rate : 0.0,
      rate,         chain.plugins()};
}

PluginOverview PluginControl::overview() const {
  PluginOverview all;
  for (const PluginChain* chain : chains().chains())
    if (!chain->plugins().empty()) all.chains.push_back(describe(chain->scope()));
  all.error = *chains().errorMessage;
  return all;
}

Outcome<PluginChainState> PluginControl::chain(const std::string& scope) const {
  const auto which = scopeOf(scope);
  if (!which) return std::unexpected(which.error());
  return describe(*which);
}

Outcome<PluginControl::Named> PluginControl::find(const std::string& scope, const std::string& plugin) const {
  const auto which = scopeOf(scope);
  if (!which) return std::unexpected(which.error());
  const auto& plugins = chains().chain(*which).plugins();
  const auto named = [&](std::size_t at) { return Named{*which, at, plugins[at].key, plugins[at].entry.id}; };
  if (const auto number = readNumber(plugin)) {
    if (*number >= 1 && *number <= double(plugins.size()) && *number == std::floor(*number))
      return named(std::size_t(*number) - 1);
    return refuse(ControlFault::notFound, fmt::format("the chain of {} has {} plug-ins, and no number {}",
                                                      which->text(), plugins.size(), plugin));
  }
  std::vector<std::size_t> found;
  for (std::size_t i = 0; i < plugins.size(); ++i) {
    const auto& entry = plugins[i].entry;
    if (lower(nameOf(entry) + " " + entry.id).find(lower(plugin)) != std::string::npos) found.push_back(i);
  }
  if (found.size() == 1) return named(found[0]);
  return refuse(found.empty() ? ControlFault::notFound : ControlFault::ambiguous,
                fmt::format("{} of the {} plug-ins on {} fit \"{}\"; name one by its number",
                            found.empty() ? "none" : std::to_string(found.size()), plugins.size(),
                            which->text(), plugin));
}

Outcome<std::size_t> PluginControl::placeOf(const Named& named) const {
  const auto& plugins = chains().chain(named.scope).plugins();
  const auto found = std::ranges::find(plugins, named.key, &PluginChain::Plugin::key);
  if (found == plugins.end())
    return refuse(ControlFault::notFound,
                  fmt::format("the plug-in is in the chain of {} no more", named.scope.text()));
  return std::size_t(found - plugins.begin());
}

void PluginControl::available(const std::string& search, Done<std::vector<PluginOffer>> done) const {
  if (!chains().host()) return done(refuse(ControlFault::failed, "this system hosts no plug-ins"));
  chains().host()->availableEffects([&intake = chains().intake(), search, done = std::move(done)](
                                        const Outcome<std::vector<AvailableEffect>>& all) {
    if (!all) return done(refuse(ControlFault::failed, all.error().description));
    std::vector<PluginOffer> offers;
    for (const AvailableEffect& effect : *all)
      if (fits(effect, search)) offers.push_back({effect, intake.verdict(effect)});
    done(std::move(offers));
  });
}

void PluginControl::info(const std::string& plugin, const std::string& scope, Done<PluginInfo> done) const {
  std::string id = plugin;
  if (!scope.empty()) {
    const auto named = find(scope, plugin);
    if (!named) return done(std::unexpected(named.error()));
    id = named->id;
  }
  EffectIntake& intake = chains().intake();
  intake.describe(id, [&intake, done = std::move(done)](const Outcome<EffectDetails>& details) {
    if (!details) return done(refuse(ControlFault::notFound, details.error().description));
    done(PluginInfo{{details->effect, intake.verdict(details->effect)}, details->controls, details->presets});
  });
}

void PluginControl::add(const std::string& scope, const std::string& id, std::optional<int> position,
                        Done<PluginChainState> done) const {
  const auto which = scopeOf(scope);
  if (!which) return done(std::unexpected(which.error()));
  if (position && *position < 1) return done(refuse(ControlFault::badValue, "the first place is 1"));
  const auto at = position ? std::optional(std::size_t(*position - 1)) : std::nullopt;
  chains().add(*which, id, at,
               [this, scope = *which, done = std::move(done)](const Outcome<EffectDetails>& added) {
                 if (!added) return done(refuse(ControlFault::failed, added.error().description));
                 done(describe(scope));
               });
}

Outcome<PluginChainState> PluginControl::remove(const std::string& scope, const std::string& plugin) const {
  const auto named = find(scope, plugin);
  if (!named) return std::unexpected(named.error());
  chains().chain(named->scope).remove(named->position);
  return describe(named->scope);
}

Outcome<PluginChainState> PluginControl::move(const std::string& scope, const std::string& plugin,
                                              int position) const {
  const auto named = find(scope, plugin);
  if (!named) return std::unexpected(named.error());
  if (position < 1 || !chains().chain(named->scope).move(named->position, std::size_t(position - 1)))
    return refuse(ControlFault::badValue, fmt::format("{} is no place in this chain", position));
  return describe(named->scope);
}

Outcome<PluginChainState> PluginControl::setBypassed(const std::string& scope, const std::string& plugin,
                                                     bool bypassed) const {
  const auto named = find(scope, plugin);
  if (!named) return std::unexpected(named.error());
  chains().chain(named->scope).setBypassed(named->position, bypassed);
  return describe(named->scope);
}

void PluginControl::setControl(const std::string& scope, const std::string& plugin,
                               const std::string& control, const std::string& value,
                               Done<PluginChainState> done) const {
  const auto named = find(scope, plugin);
  if (!named) return done(std::unexpected(named.error()));
  chains().intake().describe(named->id, [this, named = *named, control, value,
                                         done = std::move(done)](const Outcome<EffectDetails>& details) {
    if (!details) return done(refuse(ControlFault::failed, details.error().description));
    const auto which = findControl(*details, control);
    if (!which) return done(refuse(ControlFault::notFound, which.error().description));
    const auto wanted = readControlValue(*which, value);
    if (!wanted) return done(refuse(ControlFault::badValue, wanted.error().description));
    const auto place = placeOf(named);
    if (!place) return done(std::unexpected(place.error()));
    chains().chain(named.scope).setControl(*place, which->symbol, *wanted);
    done(describe(named.scope));
  });
}

void PluginControl::setPreset(const std::string& scope, const std::string& plugin, const std::string& preset,
                              Done<PluginChainState> done) const {
  const auto named = find(scope, plugin);
  if (!named) return done(std::unexpected(named.error()));
  if (!chains().host()) return done(refuse(ControlFault::failed, "this system hosts no plug-ins"));
  chains().intake().describe(named->id, [this, named = *named, preset,
                                         done = std::move(done)](const Outcome<EffectDetails>& details) {
    if (!details) return done(refuse(ControlFault::failed, details.error().description));
    const auto found = std::ranges::find_if(details->presets, [&](const auto& each) {
      return each.id == preset || lower(each.name) == lower(preset);
    });
    if (found == details->presets.end())
      return done(refuse(ControlFault::notFound,
                         fmt::format("\"{}\" has no preset \"{}\"", details->effect.name, preset)));
    chains().host()->presetState(named.id, found->id, [this, named, done](const Outcome<std::string>& state) {
      if (!state) return done(refuse(ControlFault::failed, state.error().description));
      const auto place = placeOf(named);
      if (!place) return done(std::unexpected(place.error()));
      chains().chain(named.scope).setFullState(*place, *state);
      done(describe(named.scope));
    });
  });
}

Outcome<PluginChainState> PluginControl::setTrusted(const std::string& scope, bool trusted) const {
  const auto which = scopeOf(scope);
  if (!which) return std::unexpected(which.error());
  chains().chain(*which).setTrusted(trusted);
  return describe(*which);
}

void PluginControl::save(const std::string& scope, const std::string& path,
                         Done<PluginChainState> done) const {
  const auto which = scopeOf(scope);
  if (!which) return done(std::unexpected(which.error()));
  if (!path.starts_with('/')) return done(refuse(ControlFault::badValue, "the path must be a full one"));
  chains().chain(*which).collect([this, scope = *which, path, done = std::move(done)](
                                     const std::vector<PluginChainStore::Entry>& entries) {
    if (entries.empty())
      return done(refuse(ControlFault::notFound, fmt::format("{} has no plug-ins", scope.text())));
    if (const auto written = writeFileAtomically(path, PluginChainStore::fileText(entries)); !written)
      return done(refuse(ControlFault::failed, written.error().description));
    done(describe(scope));
  });
}

Outcome<PluginChainState> PluginControl::load(const std::string& scope, const std::string& path) const {
  const auto which = scopeOf(scope);
  if (!which) return std::unexpected(which.error());
  const auto text = readWholeFile(path);
  if (!text) return refuse(ControlFault::failed, text.error().description);
  auto entries = PluginChainStore::readFile(*text);
  if (!entries) return refuse(ControlFault::badValue, path + ": " + entries.error().description);
  chains().chain(*which).replace(std::move(*entries));
  return describe(*which);
}

}  // namespace sonmere
