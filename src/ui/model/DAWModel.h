#pragma once

#include "control/DAWState.h"
#include "ui/model/TopicModel.h"

namespace sonmere {

// The device of all Tracks.
class DAWModel : public TopicModel {
  Q_OBJECT

 public:
  explicit DAWModel(ServiceLink& link);

  const DAWState& state() const { return state_; }

  void setEnabled(bool enabled);
  void reset();

 private:
  void take(Topic topic, const TopicJSON& value);

  DAWState state_;
};

}  // namespace sonmere
