#include "control/RuleKeeper.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>

#include "control/ControlError.h"
#include "control/RuleCodec.h"

namespace sonmere {

namespace {

bool isSame(const std::string& a, const std::string& b) { return strcasecmp(a.c_str(), b.c_str()) == 0; }

bool isPartOf(const std::string& part, const std::string& text) {
  return strcasestr(text.c_str(), part.c_str()) != nullptr;
}

// Where a reason may begin or end.
const TopicSet kOfReasons{Topic::apps, Topic::devices, Topic::input, Topic::recording, Topic::rules};

}  // namespace

RuleKeeper::RuleKeeper(ToneFerryApp& app, TopicWatch& changes) : app_(app), changes_(changes) {
  for (Rule& rule : decodeRules(app.context().settings.data(kKey).value_or("")))
    entries_.push_back({std::move(rule), {}, {}});
  follow();
}

// The next run does it anew, where the reason still holds.
RuleKeeper::~RuleKeeper() {
  following_.reset();
  for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) end(*entry);
}

std::vector<RuleState> RuleKeeper::list() const {
  std::vector<RuleState> all;
  for (const Entry& entry : entries_) all.push_back(describe(entry));
  return all;
}

std::vector<RuleKeeper::Entry>::iterator RuleKeeper::find(int rule) {
  return std::ranges::find(entries_, rule, [](const Entry& entry) { return entry.rule.id; });
}

Outcome<RuleState> RuleKeeper::missing(int rule) const {
  return std::unexpected(controlError(ControlFault::notFound, fmt::format("there is no rule {}", rule)));
}

Outcome<RuleState> RuleKeeper::add(Rule rule) {
  if (entries_.size() >= kMostRules)
    return std::unexpected(
        controlError(ControlFault::badValue, fmt::format("there are {} rules already", kMostRules)));
  rule.id = 1;
  for (const Entry& entry : entries_) rule.id = std::max(rule.id, entry.rule.id + 1);
  entries_.push_back({std::move(rule), {}, {}});
  save();
  return describe(entries_.back());
}

Outcome<RuleState> RuleKeeper::remove(int rule) {
  const auto found = find(rule);
  if (found == entries_.end()) return missing(rule);
  const RuleState was = describe(*found);
  end(*found);
  entries_.erase(found);
  save();
  return was;
}

Outcome<RuleState> RuleKeeper::setEnabled(int rule, bool enabled) {
  const auto found = find(rule);
  if (found == entries_.end()) return missing(rule);
  found->rule.isEnabled = enabled;
  if (!enabled) end(*found);
  save();
  return describe(*found);
}

void RuleKeeper::save() {
  std::vector<Rule> rules;
  for (const Entry& entry : entries_) rules.push_back(entry.rule);
  if (rules.empty())
    app_.context().settings.remove(kKey);
  else
    app_.context().settings.set(kKey, SettingsData{encodeRules(rules)});
  follow();
  look();
  changes_.mark({Topic::rules});
}

void RuleKeeper::follow() {
  const bool isWanted =
      std::ranges::any_of(entries_, [](const Entry& entry) { return entry.rule.isEnabled; });
  if (isWanted == following_.has_value()) return;
  following_.reset();
  if (!isWanted) return;
  following_ = changes_.observe([this](const TopicSet& topics) {
    if (std::ranges::any_of(topics, [](Topic topic) { return kOfReasons.contains(topic); })) look();
  });
  changes_.mark({Topic::rules});
}

bool RuleKeeper::holds(const RuleReason& reason) const {
  switch (reason.kind) {
    case RuleReason::Kind::app:
      return std::ranges::any_of(*app_.appTapEngine()->availableApps, [&](const TappedAppInfo& row) {
        return !row.audioObjectIDs.empty() &&
               (isSame(row.bundleID, reason.subject) || isSame(row.name, reason.subject));
      });
    case RuleReason::Kind::device:
      return std::ranges::any_of(*app_.context().devices.devices(), [&](const DeviceFacts& device) {
        return device.uid == reason.subject || isPartOf(reason.subject, device.name);
      });
    case RuleReason::Kind::mic:
      return *app_.micEngine()->isEnabled;
  }
  return false;
}

void RuleKeeper::look() {
  for (Entry& entry : entries_) {
    if (!entry.rule.isEnabled) continue;
    if (holds(entry.rule.when))
      begin(entry);
    else if (entry.undo)
      endSoon(entry);
    else
      tellProblem(entry, std::nullopt);
  }
}

void RuleKeeper::begin(Entry& entry) {
  entry.end.cancel();
  if (entry.undo || entry.rest) return;
  auto undo = RuleUndo::apply(app_, entry.rule.act);
  if (!undo) {
    entry.rest = app_.context().runtime.mainQueue().postAfter(kLinger, [this, rule = entry.rule.id] {
      if (const auto found = find(rule); found != entries_.end()) found->rest.cancel();
    });
    return tellProblem(entry, undo.error().description);
  }
  entry.undo = std::move(*undo);
  tellProblem(entry, std::nullopt);
  app_.context().log.info(fmt::format("Sonmere: rule {} ({}): {}", entry.rule.id, reasonText(entry.rule.when),
                                      actText(entry.rule.act)));
  changes_.mark({Topic::rules});
}

void RuleKeeper::tellProblem(Entry& entry, std::optional<std::string> problem) {
  if (entry.problem == problem) return;
  entry.problem = std::move(problem);
  if (entry.problem)
    app_.context().log.warning(fmt::format("Sonmere: rule {} ({}): {} failed: {}", entry.rule.id,
                                           reasonText(entry.rule.when), actText(entry.rule.act),
                                           *entry.problem));
  changes_.mark({Topic::rules});
}

void RuleKeeper::endSoon(Entry& entry) {
  if (entry.end) return;
  entry.end = app_.context().runtime.mainQueue().postAfter(kLinger, [this, rule = entry.rule.id] {
    const auto found = find(rule);
    if (found == entries_.end()) return;
    end(*found);
    changes_.mark({Topic::rules});
  });
}

void RuleKeeper::end(Entry& entry) {
  entry.end.cancel();
  entry.rest.cancel();
  entry.problem.reset();
  if (!entry.undo) return;
  RuleUndo undo = std::move(*std::exchange(entry.undo, std::nullopt));
  std::vector<RuleUndo*> others;
  for (Entry& other : entries_)
    if (other.undo) others.push_back(&*other.undo);
  undo.takeBack(app_, others);
}

}  // namespace sonmere
