#include "ui/model/RulesModel.h"

#include "control/RuleCodec.h"
#include "ui/model/SystemDecode.h"

namespace sonmere {

RulesModel::RulesModel(ServiceLink& link) : TopicModel(link) {
  connect(&link, &ServiceLink::told, this, &RulesModel::take);
}

void RulesModel::take(Topic topic, const TopicJSON& value) {
  if (topic != Topic::rules) return;
  rules_ = decodeRuleStates(value);
  emit changed();
}

void RulesModel::add(const RuleReason& when, const RuleAct& act) {
  const ControlJSON rule = encodeControl(Rule{0, when, act, true});
  call("rule.add", {{"when", rule.at("when")}, {"act", rule.at("act")}});
}

void RulesModel::setEnabled(int rule, bool enabled) {
  call("rule.enable", {{"rule", rule}, {"enabled", enabled}});
}

void RulesModel::remove(int rule) { call("rule.remove", {{"rule", rule}}); }

}  // namespace sonmere
