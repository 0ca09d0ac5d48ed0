#pragma once

#include <optional>

#include "control/InputState.h"
#include "ui/model/TopicModel.h"

namespace sonmere {

// The microphone, its additional inputs, its sends and the lock on the default input.
class InputModel : public TopicModel {
  Q_OBJECT

 public:
  explicit InputModel(ServiceLink& link);

  const InputState& state() const { return state_; }
  // Nothing while the microphone is off.
  const std::optional<InputMeters>& meters() const { return meters_; }

  void setEnabled(bool enabled);
  void select(const QString& device);
  void setChannels(const QString& channels);
  void setVolume(float gain);
  void setEqualiser(const AppEQSettings& settings);
  // Nothing: off.
  void setLimiter(std::optional<double> ceilingDb);
  // Of nothing: off.
  void setSend(int bus, float gain);
  void addExtra(int channel, const QString& name);
  void removeExtra(const QString& id);
  void setExtraVolume(const QString& id, float gain);
  void setExtraPan(const QString& id, float pan);
  void setExtraMuted(const QString& id, bool muted);
  void setLock(bool enabled);
  void lockTo(const QString& device);

 signals:
  void metered();

 private:
  void take(Topic topic, const TopicJSON& value);
  void takeMeters(const ControlJSON& meters);

  InputState state_;
  std::optional<InputMeters> meters_;
};

}  // namespace sonmere
