#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/ToneFerryApp.h"
#include "base/TaskToken.h"
#include "control/RuleState.h"
#include "control/RuleUndo.h"
#include "control/TopicWatch.h"

namespace sonmere {

// Does what the user's rules say while their reasons hold, and takes it back when one ends, or the program
// does, but for what somebody has changed meanwhile. Without a rule that is on it follows nothing. Main
// thread.
class RuleKeeper {
 public:
  static constexpr const char* kKey = "sonmere.rules";
  static constexpr std::size_t kMostRules = 200;
  // A reason that is gone for less has not ended: a player is away from the server between two pieces.
  static constexpr Duration kLinger = fromSeconds(5);

  RuleKeeper(ToneFerryApp& app, TopicWatch& changes);
  ~RuleKeeper();
  RuleKeeper(const RuleKeeper&) = delete;
  RuleKeeper& operator=(const RuleKeeper&) = delete;

  // In the order in which they were made.
  std::vector<RuleState> list() const;
  // Done at once where the reason holds.
  Outcome<RuleState> add(Rule rule);
  // What the rule has done is taken back. Answers it as it was.
  Outcome<RuleState> remove(int rule);
  Outcome<RuleState> setEnabled(int rule, bool enabled);

 private:
  struct Entry {
    Rule rule;
    std::optional<RuleUndo> undo;  // there while it is active
    std::optional<std::string> problem;
    ScopedTask end = {};
    ScopedTask rest = {};  // after a failure; what the act has stirred up is no reason to try again
  };

  RuleState describe(const Entry& entry) const { return {entry.rule, entry.undo.has_value(), entry.problem}; }
  std::vector<Entry>::iterator find(int rule);
  Outcome<RuleState> missing(int rule) const;
  bool holds(const RuleReason& reason) const;
  void follow();
  void look();
  void begin(Entry& entry);
  void tellProblem(Entry& entry, std::optional<std::string> problem);
  void endSoon(Entry& entry);
  void end(Entry& entry);
  void save();

  ToneFerryApp& app_;
  TopicWatch& changes_;
  std::vector<Entry> entries_;
  std::optional<Subscription> following_;
};

}  // namespace sonmere
