#pragma once

#include "control/MixState.h"
#include "ui/model/TopicModel.h"

namespace sonmere {

// Mix Mode: what the user hears of what is recorded or streamed, and how loud either is.
class MixModel : public TopicModel {
  Q_OBJECT

 public:
  explicit MixModel(ServiceLink& link);

  const MixState& state() const { return state_; }

  void setEnabled(bool enabled);
  // Linear gains.
  void setHear(const QString& app, float gain);
  void setStream(const QString& app, float gain);
  void setLinked(const QString& app, bool linked);
  void setCatchAll(bool includes);
  void setCatchAllVolume(float gain);
  void setAudition(bool auditions);
  void setHearsTracks(bool hears);
  // `track` from 1 on.
  void setTrackVolume(int track, float gain);
  void setTrackMuted(int track, bool muted);

 private:
  void take(Topic topic, const TopicJSON& value);

  MixState state_;
};

}  // namespace sonmere
