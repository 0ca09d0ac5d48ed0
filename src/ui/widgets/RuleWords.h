#pragma once

#include <QString>
#include <functional>

#include "control/RuleState.h"

namespace sonmere {

// A rule in words. `appName` has the name of an app by its identifier, `busName` that of a bus.
struct RuleNames {
  std::function<QString(const QString&)> appName;
  std::function<QString(int)> busName;
};
QString ruleWords(const Rule& rule, const RuleNames& names);
QString stateWords(const RuleState& state);

}  // namespace sonmere
