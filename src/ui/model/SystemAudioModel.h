#pragma once

#include "control/SystemAudioState.h"
#include "ui/model/TopicModel.h"

namespace sonmere {

// Whether what the whole system plays reaches an output and the bridge.
class SystemAudioModel : public TopicModel {
  Q_OBJECT

 public:
  explicit SystemAudioModel(ServiceLink& link);

  const SystemAudioState& state() const { return state_; }

  void setEnabled(bool enabled);
  // An identifier; empty: whatever becomes the default output.
  void select(const QString& device);
  // Makes it anew.
  void reset();

 private:
  void take(Topic topic, const TopicJSON& value);

  SystemAudioState state_;
};

}  // namespace sonmere
