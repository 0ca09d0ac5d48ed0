#include "control/RuleUndo.h"

#include <algorithm>
#include <set>

#include "control/AppControl.h"
#include "control/ProfileControl.h"

namespace sonmere {

namespace {

template <class T>
Outcome<void> done(const Outcome<T>& outcome) {
  if (!outcome) return std::unexpected(outcome.error());
  return {};
}

Outcome<void> doAct(ToneFerryApp& app, const RuleAct& act) {
  AppControl apps(app);
  switch (act.kind) {
    case RuleAct::Kind::profile:
      return done(ProfileControl(app).apply(act.target));
    case RuleAct::Kind::route:
      return done(apps.route(act.target, act.bus));
    case RuleAct::Kind::volume:
      return done(apps.setVolume(act.target, {act.volume, VolumeRequest::Kind::level}));
    case RuleAct::Kind::mute:
      return done(apps.setMuted(act.target, act.isMuted ? SwitchRequest::on : SwitchRequest::off));
  }
  return {};
}

bool isOfLevel(const RuleAct& act) {
  return act.kind == RuleAct::Kind::volume || act.kind == RuleAct::Kind::mute;
}

}  // namespace

Outcome<RuleUndo> RuleUndo::apply(ToneFerryApp& app, const RuleAct& act) {
  AppControl apps(app);
  const auto level = [&]() -> std::optional<Level> {
    const auto state = apps.get(act.target);
    if (!state || !isOfLevel(act)) return std::nullopt;
    return Level{state->id, state->volume, state->isMuted};
  };
  RuleUndo undo;
  undo.levelBefore_ = level();
  undo.before_ = app.appTapEngine()->routedApps();
  if (auto outcome = doAct(app, act); !outcome) return std::unexpected(outcome.error());
  undo.levelAfter_ = level();
  undo.after_ = isOfLevel(act) ? undo.before_ : app.appTapEngine()->routedApps();
  return undo;
}

std::optional<AppProfileEntry> RuleUndo::entryOf(const Routing& routing, const std::string& app) {
  const auto found = std::ranges::find(routing, app, &AppProfileEntry::bundleID);
  return found == routing.end() ? std::nullopt : std::optional(*found);
}

void RuleUndo::setEntry(Routing& routing, const std::string& app,
                        const std::optional<AppProfileEntry>& entry) {
  std::erase_if(routing, [&](const AppProfileEntry& each) { return each.bundleID == app; });
  if (entry) routing.push_back(*entry);
}

std::vector<std::string> RuleUndo::changedApps() const {
  std::set<std::string> apps;
  for (const Routing* routing : {&before_, &after_})
    for (const AppProfileEntry& each : *routing)
      if (entryOf(before_, each.bundleID) != entryOf(after_, each.bundleID)) apps.insert(each.bundleID);
  return {apps.begin(), apps.end()};
}

void RuleUndo::takeBackRouting(ToneFerryApp& app, const std::vector<RuleUndo*>& others) {
  const Routing present = app.appTapEngine()->routedApps();
  Routing wanted = present;
  for (const std::string& each : changedApps()) {
    const auto before = entryOf(before_, each), after = entryOf(after_, each);
    if (entryOf(present, each) == after) setEntry(wanted, each, before);
    for (RuleUndo* other : others)
      if (entryOf(other->before_, each) == after) setEntry(other->before_, each, before);
  }
  if (wanted != present) app.appTapEngine()->applyRouting(wanted);
}

void RuleUndo::takeBackLevel(ToneFerryApp& app, const std::vector<RuleUndo*>& others) {
  if (!levelBefore_ || !levelAfter_) return;
  AppControl apps(app);
  const std::string& id = levelBefore_->app;
  for (RuleUndo* other : others)
    if (other->levelBefore_ == levelAfter_) other->levelBefore_ = levelBefore_;
  const auto state = apps.get(id);
  if (!state) return;
  if (levelBefore_->volume != levelAfter_->volume && state->volume == levelAfter_->volume)
    (void)apps.setVolume(id, {levelBefore_->volume, VolumeRequest::Kind::level});
  if (levelBefore_->isMuted != levelAfter_->isMuted && state->isMuted == levelAfter_->isMuted)
    (void)apps.setMuted(id, levelBefore_->isMuted ? SwitchRequest::on : SwitchRequest::off);
}

void RuleUndo::takeBack(ToneFerryApp& app, const std::vector<RuleUndo*>& others) {
  takeBackRouting(app, others);
  takeBackLevel(app, others);
}

}  // namespace sonmere
