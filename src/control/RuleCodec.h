#pragma once

#include <string>
#include <vector>

#include "control/ControlMessage.h"
#include "control/RuleState.h"
#include "routing/RoutingProfile.h"

namespace sonmere {

// Rules and routings as they stand in messages, in the settings and in files.
ControlJSON encodeControl(const Rule& rule);
ControlJSON encodeControl(const RuleState& rule);
// The error names the member that is wrong. Its identifier is left open.
Outcome<Rule> decodeRule(const ControlJSON& when, const ControlJSON& act);
// "profile apply Call", as it is typed.
std::string actText(const RuleAct& act);
// "app=org.zoom", as it is typed.
std::string reasonText(const RuleReason& reason);

ControlJSON encodeRouting(const std::vector<AppProfileEntry>& apps);
Outcome<std::vector<AppProfileEntry>> decodeRouting(const ControlJSON& apps);

// The stored list; one that does not decode is empty.
std::string encodeRules(const std::vector<Rule>& rules);
std::vector<Rule> decodeRules(const std::string& json);

}  // namespace sonmere
