#pragma once

#include <QStringList>

#include "control/DAWState.h"
#include "ui/model/TopicModel.h"

namespace sonmere {

// Several inputs as one.
class CombinedInputModel : public TopicModel {
  Q_OBJECT

 public:
  explicit CombinedInputModel(ServiceLink& link);

  // Nothing is combined: none.
  const std::optional<DAWState::Combined>& state() const { return state_; }

  // Identifiers of inputs; without a name the device has its usual one.
  void combine(const QStringList& devices, const QString& name);
  void separate();

 private:
  void take(Topic topic, const TopicJSON& value);

  std::optional<DAWState::Combined> state_;
};

}  // namespace sonmere
