#include "audio/effects/PluginChain.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "audio/effects/IsolatedRun.h"
#include "audio/effects/TrustedRun.h"

namespace sonmere {

using Entry = PluginChainStore::Entry;

namespace {
constexpr double kSameRateHz = 1.0;
}  // namespace

PluginChain::PluginChain(ChainContext& context, PluginScope scope)
    : context_(context),
      scope_(std::move(scope)),
      isTrusted_(PluginChainStore::isTrusted(context.settings, scope_)) {
  for (Entry& entry : PluginChainStore::load(context.settings, scope_))
    add(plugins_.size(), std::move(entry));
}

PluginChain::~PluginChain() { silence(); }

void PluginChain::add(std::size_t position, Entry entry) {
  Plugin plugin;
  plugin.key = nextKey_++;
  plugin.entry = std::move(entry);
  plugins_.insert(plugins_.begin() + std::ptrdiff_t(position), std::move(plugin));
}

PluginChain::Plugin* PluginChain::find(int key) {
  const auto found = std::ranges::find(plugins_, key, &Plugin::key);
  return found == plugins_.end() ? nullptr : &*found;
}

std::string PluginChain::nameOf(int key) const {
  const auto found = std::ranges::find(plugins_, key, &Plugin::key);
  if (found != plugins_.end()) return found->entry.name.empty() ? found->entry.id : found->entry.name;
  std::string all;
  for (const Plugin& plugin : plugins_)
    all += (all.empty() ? "" : ", ") + (plugin.entry.name.empty() ? plugin.entry.id : plugin.entry.name);
  return all;
}

int PluginChain::latencyFrames() const {
  if (state_ != State::running) return 0;
  int frames = run_ ? run_->delayFrames() : 0;
  for (const Plugin& plugin : plugins_)
    if (!plugin.entry.bypassed && !plugin.autoBypassed && plugin.problem.empty())
      frames += plugin.latencyFrames;
  return frames;
}

void PluginChain::setState(State state) {
  state_ = state;
  context_.changed();
}

// Where it sounds.

void PluginChain::setPlace(std::optional<ChainPlace> place) {
  const bool isElsewhere = place_ && (!place || place->target != place_->target);
  if (isElsewhere && published_) place_->publish(nullptr);
  const bool hadPlace = place_.has_value();
  isSoundBefore_ &= hadPlace;
  place_ = std::move(place);
  if (!place_) {
    published_ = nullptr;
    return silence();
  }
  if (isElsewhere && published_) place_->publish(published_);
  const bool isOtherRate = runRate_ > 0 && std::abs(place_->sampleRate - runRate_) >= kSameRateHz;
  if (isOtherRate && !plugins_.empty()) noteRate();
  if (!hadPlace || (isOtherRate && run_)) rebuild();
}

void PluginChain::noteRate() const {
  context_.log.info(
      fmt::format("{} chain: capture rate changed {:f} → {:f} Hz — re-instantiating {} plugin(s)",
                  scope_.text(), runRate_, place_->sampleRate, plugins_.size()));
}

// Nothing of it sounds from here on, and nothing of a build under way comes.
void PluginChain::silence() {
  ++build_;
  looking_.cancel();
  if (place_ && published_) place_->publish(nullptr);
  published_ = nullptr;
  run_.reset();
  for (Plugin& plugin : plugins_) plugin.values.clear();
  if (state_ != State::idle) setState(State::idle);
}

// What the user wants.

void PluginChain::save() {
  std::vector<Entry> entries;
  for (const Plugin& plugin : plugins_) entries.push_back(plugin.entry);
  PluginChainStore::save(context_.settings, scope_, entries);
}

void PluginChain::edited() {
  save();
  restarts_.clear();
  isSoundBefore_ = place_.has_value();
  // What was told of it before is past.
  context_.tell({});
  context_.changed();
  rebuild();
}

bool PluginChain::insert(std::size_t position, Entry entry) {
  if (position > plugins_.size() || plugins_.size() >= PluginChainStore::kMostPlugins) return false;
  add(position, std::move(entry));
  edited();
  return true;
}

bool PluginChain::remove(std::size_t position) {
  if (position >= plugins_.size()) return false;
  plugins_.erase(plugins_.begin() + std::ptrdiff_t(position));
  edited();
  return true;
}

bool PluginChain::move(std::size_t from, std::size_t to) {
  if (from >= plugins_.size() || to >= plugins_.size()) return false;
  Plugin plugin = std::move(plugins_[from]);
  plugins_.erase(plugins_.begin() + std::ptrdiff_t(from));
  plugins_.insert(plugins_.begin() + std::ptrdiff_t(to), std::move(plugin));
  edited();
  return true;
}

bool PluginChain::setBypassed(std::size_t position, bool bypassed) {
  if (position >= plugins_.size()) return false;
  Plugin& plugin = plugins_[position];
  plugin.entry.bypassed = bypassed;
  const bool isTriedAgain = !bypassed && (plugin.isFaulty || plugin.autoBypassed);
  if (!bypassed) plugin.isFaulty = false;
  // A new instance, that begins without the failures of the old one.
  if (isTriedAgain) plugin.key = nextKey_++;
  if (isTriedAgain || state_ == State::bypassed) return edited(), true;
  save();
  if (run_) run_->setBypassed(plugin.key, bypassed);
  context_.changed();
  return true;
}

bool PluginChain::setControl(std::size_t position, const std::string& symbol, float value) {
  if (position >= plugins_.size()) return false;
  Plugin& plugin = plugins_[position];
  plugin.entry.values[symbol] = value;
  if (!plugin.values.empty()) plugin.values[symbol] = value;
  if (state_ == State::bypassed) return edited(), true;
  save();
  if (run_) run_->setControl(plugin.key, symbol, value);
  saveStatesSoon();
  context_.changed();
  return true;
}

// A state is given to an instance as it is made: no plug-in has to take one while it runs.
bool PluginChain::setFullState(std::size_t position, std::string state) {
  if (position >= plugins_.size()) return false;
  Plugin& plugin = plugins_[position];
  plugin.key = nextKey_++;
  plugin.entry.fullState = std::move(state);
  plugin.entry.values.clear();
  edited();
  return true;
}

void PluginChain::setTrusted(bool trusted) {
  if (trusted == isTrusted_) return;
  isTrusted_ = trusted;
  PluginChainStore::setTrusted(context_.settings, scope_, trusted);
  const auto goOn = lifetime_.guard([this](const auto& states) {
    if (states) keep(*states);
    edited();
  });
  run_ ? run_->saveStates(goOn) : edited();
}

void PluginChain::replace(std::vector<Entry> entries) {
  plugins_.clear();
  for (Entry& entry : entries) add(plugins_.size(), std::move(entry));
  edited();
}

void PluginChain::keep(const ChainHelper::States& states) {
  for (Plugin& plugin : plugins_)
    if (const auto state = states.find(plugin.key); state != states.end() && !state->second.empty())
      plugin.entry.fullState = state->second;
  save();
}

void PluginChain::saveStatesSoon() {
  if (!run_) return;
  saving_ = context_.runtime.mainQueue().postAfter(kSaveDelay, [this] { collect(nullptr); });
}

void PluginChain::collect(Collected done) {
  const auto answer = lifetime_.guard([this, done](const Outcome<ChainHelper::States>& states) {
    if (states) keep(*states);
    std::vector<Entry> entries;
    for (const Plugin& plugin : plugins_) entries.push_back(plugin.entry);
    if (done) done(std::move(entries));
  });
  run_&& state_ == State::running ? run_->saveStates(answer) : answer(ChainHelper::States{});
}

// How it comes to sound.

void PluginChain::rebuild() {
  if (!place_) return;
  if (plugins_.empty() || !context_.host) return silence();
  if (state_ == State::bypassed) run_.reset();
  setState(State::starting);
  prepare(0, ++build_);
}

void PluginChain::prepare(std::size_t position, int build) {
  if (position >= plugins_.size()) return apply(build);
  const int key = plugins_[position].key;
  context_.intake.admit(plugins_[position].entry.id, lifetime_.guard([this, key, position,
                                                                      build](Outcome<EffectDetails> details) {
    if (build != build_) return;
    Plugin& plugin = *find(key);
    plugin.problem = details ? std::string() : details.error().description;
    if (details) {
      plugin.entry.name = details->effect.name;
      plugin.entry.mfrName = details->effect.manufacturer;
      plugin.details = std::move(*details);
    } else {
      context_.tell(fmt::format("Plug-in {} of {}: {}", position + 1, scope_.text(), plugin.problem));
    }
    prepare(position + 1, build);
  }));
}

ChainPlan PluginChain::plan() const {
  ChainPlan plan;
  plan.sampleRate = place_->sampleRate;
  for (const Plugin& plugin : plugins_)
    if (plugin.problem.empty() && !plugin.isFaulty)
      plan.plugins.push_back({plugin.key, plugin.entry.id, plugin.entry.fullState.value_or(""),
                              plugin.entry.values, plugin.entry.bypassed});
  return plan;
}

Outcome<std::unique_ptr<ChainRun>> PluginChain::makeRun() {
  if (isTrusted_) return std::make_unique<TrustedRun>(*context_.host);
  auto helper = context_.host->startHelper();
  if (!helper) return std::unexpected(helper.error());
  using Begin = IsolatedChain::Begin;
  return std::make_unique<IsolatedRun>(context_.runtime, std::move(*helper),
                                       isSoundBefore_ ? Begin::dry : Begin::silent);
}

void PluginChain::apply(int build) {
  ChainPlan wanted = plan();
  if (wanted.plugins.empty()) return silence();
  if (run_ && runIsTrusted_ != isTrusted_) run_.reset();
  if (!run_) {
    auto made = makeRun();
    if (!made) return failed(made.error().description, 0);
    run_ = std::move(*made);
    runIsTrusted_ = isTrusted_;
    isOverrunTold_ = false;
    run_->failed = [this](const std::string& reason, int culprit) { failed(reason, culprit); };
  }
  runRate_ = wanted.sampleRate;
  run_->apply(wanted, lifetime_.guard([this, build](const Outcome<ChainReport>& report) {
    if (build == build_) planned(report);
  }));
}

void PluginChain::planned(const Outcome<ChainReport>& report) {
  if (!report) return failed(report.error().description, 0);
  take(*report);
  const bool isAnySounding =
      std::ranges::any_of(report->plugins, [](const auto& p) { return p.error.empty(); });
  if (!isAnySounding) return silence();
  publish();
  looking_ = context_.runtime.mainQueue().repeat(kLookInterval, [this] { look(); });
  setState(State::running);
}

void PluginChain::take(const ChainReport& report) {
  for (const ChainReport::Plugin& each : report.plugins) {
    Plugin* plugin = find(each.key);
    if (!plugin) continue;
    plugin->latencyFrames = each.latencyFrames;
    plugin->values = each.values;
    // What was set while the plan was on its way.
    if (each.error.empty())
      for (const auto& [symbol, value] : plugin->entry.values) plugin->values[symbol] = value;
    if (each.error == plugin->problem) continue;
    plugin->problem = each.error;
    context_.tell(fmt::format("\"{}\" on {} does not run: {}", nameOf(each.key), scope_.text(), each.error));
  }
}

void PluginChain::publish() {
  const auto snapshot = run_->snapshot();
  if (snapshot == published_) return;
  published_ = snapshot;
  place_->publish(snapshot);
}

// Latencies that have changed, and plug-ins that have bypassed themselves since.
void PluginChain::look() {
  ChainReport report;
  for (const Plugin& plugin : plugins_)
    if (plugin.problem.empty() && !plugin.isFaulty) report.plugins.push_back({plugin.key, "", 0, false, {}});
  run_->refresh(report);
  bool isOther = false;
  for (const ChainReport::Plugin& each : report.plugins) {
    Plugin* plugin = find(each.key);
    if (!plugin) continue;
    isOther |= plugin->latencyFrames != each.latencyFrames || plugin->autoBypassed != each.autoBypassed;
    if (each.autoBypassed && !plugin->autoBypassed)
      context_.tell(
          fmt::format("\"{}\" on {} fails again and again and is bypassed", nameOf(each.key), scope_.text()));
    plugin->latencyFrames = each.latencyFrames;
    plugin->autoBypassed = each.autoBypassed;
  }
  if (run_->isOverrun() && !std::exchange(isOverrunTold_, true)) {
    context_.tell(
        fmt::format("The plug-ins on {} can't keep up and are bypassed: {}", scope_.text(), nameOf(0)));
    return setState(State::bypassed);
  }
  if (isOther) context_.changed();
}

// The old chain stays published: without its process it hands on what it is given.
void PluginChain::failed(const std::string& reason, int culprit) {
  ++build_;
  looking_.cancel();
  isSoundBefore_ |= published_ != nullptr;
  // Whoever told of it may be inside the run.
  if (run_) {
    run_->failed = nullptr;
    context_.runtime.mainQueue().post([run = std::shared_ptr<ChainRun>(std::move(run_))] {});
  }
  const Duration now = context_.runtime.uptime();
  std::erase_if(restarts_, [now](Duration then) { return now - then >= kRestartWindow; });
  const std::string what = fmt::format("\"{}\" on {} {}", nameOf(culprit), scope_.text(), reason);
  if (restarts_.size() < kMostRestarts) {
    restarts_.push_back(now);
    context_.tell(what + "; it is started again");
    return rebuild();
  }
  context_.tell(what + "; that was too often, and it is bypassed");
  Plugin* plugin = culprit != 0 ? find(culprit) : nullptr;
  if (plugin && plugins_.size() > 1) {
    plugin->isFaulty = true;
    restarts_.clear();
    return rebuild();
  }
  silence();
  setState(State::bypassed);
}

}  // namespace sonmere
