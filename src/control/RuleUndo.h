#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/ToneFerryApp.h"
#include "base/Error.h"
#include "control/RuleState.h"

namespace sonmere {

// What an act of a rule has changed, and what it was before. Main thread.
class RuleUndo {
 public:
  // Does the act.
  static Outcome<RuleUndo> apply(ToneFerryApp& app, const RuleAct& act);
  // Each app as it was before, unless it is no longer as the act made it. `others` are what other rules have
  // done since: what they would go back to is then what was before this one.
  void takeBack(ToneFerryApp& app, const std::vector<RuleUndo*>& others);

 private:
  using Routing = std::vector<AppProfileEntry>;
  struct Level {
    std::string app;
    float volume = 1;
    bool isMuted = false;
    bool operator==(const Level&) const = default;
  };
  static std::optional<AppProfileEntry> entryOf(const Routing& routing, const std::string& app);
  static void setEntry(Routing& routing, const std::string& app, const std::optional<AppProfileEntry>& entry);
  std::vector<std::string> changedApps() const;
  void takeBackRouting(ToneFerryApp& app, const std::vector<RuleUndo*>& others);
  void takeBackLevel(ToneFerryApp& app, const std::vector<RuleUndo*>& others);

  Routing before_, after_;
  std::optional<Level> levelBefore_, levelAfter_;
};

}  // namespace sonmere
