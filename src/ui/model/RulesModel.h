#pragma once

#include "control/RuleState.h"
#include "ui/model/TopicModel.h"

namespace sonmere {

// What happens by itself.
class RulesModel : public TopicModel {
  Q_OBJECT

 public:
  explicit RulesModel(ServiceLink& link);

  const std::vector<RuleState>& rules() const { return rules_; }

  void add(const RuleReason& when, const RuleAct& act);
  void setEnabled(int rule, bool enabled);
  void remove(int rule);

 private:
  void take(Topic topic, const TopicJSON& value);

  std::vector<RuleState> rules_;
};

}  // namespace sonmere
