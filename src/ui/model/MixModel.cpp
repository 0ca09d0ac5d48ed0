#include "ui/model/MixModel.h"

#include "ui/model/SystemDecode.h"

namespace sonmere {

MixModel::MixModel(ServiceLink& link) : TopicModel(link) {
  connect(&link, &ServiceLink::told, this, &MixModel::take);
}

void MixModel::take(Topic topic, const TopicJSON& value) {
  if (topic != Topic::mix) return;
  state_ = decodeMix(value);
  emit changed();
}

void MixModel::setEnabled(bool enabled) { call("mix.enable", {{"enabled", enabled}}); }

void MixModel::setHear(const QString& app, float gain) {
  callLatest("hear " + app.toStdString(), "mix.hear", {{"app", app.toStdString()}, {"volume", gain}});
}

void MixModel::setStream(const QString& app, float gain) {
  callLatest("stream " + app.toStdString(), "mix.stream", {{"app", app.toStdString()}, {"volume", gain}});
}

void MixModel::setLinked(const QString& app, bool linked) {
  call("mix.link", {{"app", app.toStdString()}, {"linked", linked}});
}

void MixModel::setCatchAll(bool includes) { call("mix.catchAll", {{"enabled", includes}}); }

void MixModel::setCatchAllVolume(float gain) {
  callLatest("catch-all", "mix.catchAllVolume", {{"volume", gain}});
}

void MixModel::setAudition(bool auditions) { call("mix.audition", {{"enabled", auditions}}); }

void MixModel::setHearsTracks(bool hears) { call("mix.tracks", {{"enabled", hears}}); }

void MixModel::setTrackVolume(int track, float gain) {
  callLatest("mix track " + std::to_string(track), "mix.trackVolume", {{"track", track}, {"volume", gain}});
}

void MixModel::setTrackMuted(int track, bool muted) {
  call("mix.track", {{"track", track}, {"muted", muted}});
}

}  // namespace sonmere
