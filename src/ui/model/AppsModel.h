#pragma once

#include <QObject>
#include <vector>

#include "control/AppState.h"
#include "control/MixerState.h"
#include "ui/model/ServiceLink.h"

namespace sonmere {

// The apps and the per-app volume as a whole, as the service tells them, and what can be asked for. Every act
// ends in `answered`: with notes, or with why it was refused.
class AppsModel : public QObject {
  Q_OBJECT

 public:
  explicit AppsModel(ServiceLink& link);

  const std::vector<AppState>& apps() const { return apps_; }
  // By identifier; null where there is none.
  const AppState* find(const QString& id) const;
  const MixerState& mixer() const { return mixer_; }

  void setVolume(const QString& id, float gain);
  void setMuted(const QString& id, bool muted);
  void setEqualiser(const QString& id, const AppEQSettings& settings);
  void setLimiter(const QString& id, std::optional<double> ceilingDb);
  // The key of a RouteTarget.
  void setRoute(const QString& id, const QString& target);
  // "hide", "unhide", "pin", "unpin", "remove".
  void changeRow(const QString& id, const QString& change);
  void setMixerEnabled(bool enabled);
  void setMasterVolume(float gain);
  void setOutputEqualiser(const AppEQSettings& settings);
  // Whether the user wants spectra behind equalisers.
  bool isSpectrumWanted() const { return isSpectrumWanted_; }
  void setSpectrumWanted(bool wanted);
  // Of an app, or "output"; empty: none.
  void lookAtSpectrum(const QString& of) { link_.lookAtSpectrum(of); }

 signals:
  void appsChanged();
  void mixerChanged();
  // Of one app, many times a second while it is metered.
  void metersChanged(const QString& id, const sonmere::AppMeters& meters);
  // Levels of bands as the service has them; none while nothing sounds there.
  void spectrumChanged(const QString& of, const std::vector<float>& bandsDb);
  void spectrumWantedChanged();
  // `id` is empty for the mixer as a whole; `text` is empty when all went well.
  void answered(const QString& id, const QString& text, bool isRefusal);

 private:
  void take(Topic topic, const TopicJSON& value);
  void takeApps(const TopicJSON& value);
  void takeEffects(const TopicJSON& value);
  void takeSettings(const TopicJSON& value);
  void takeMeters(const ControlJSON& value);
  ServiceLink::Answer forApp(const QString& id);

  ServiceLink& link_;
  std::vector<AppState> apps_;
  TopicJSON effects_;  // of apps that "apps" has not told yet, too
  MixerState mixer_;
  bool isSpectrumWanted_ = false;
};

// A volume as JSON has it: the double of the fewest digits that means the same float.
double shortestDouble(float value);

}  // namespace sonmere
