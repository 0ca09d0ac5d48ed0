#pragma once

#include <array>

#include "audio/device/BusTable.h"
#include "audio/engine/EngineContext.h"
#include "base/Observable.h"
#include "routing/RoutingMixMode.h"

namespace sonmere {

// Whether the user hears what is sent to a recording or a stream, and how: settings, whose changes are posted
// for the routing to follow. It and the passthrough of the system's sound exclude each other. Main thread.
class MixModeEngine {
 public:
  static constexpr int kTracks = kBusCount - kFirstTrackBus;
  static constexpr const char* kEnabledKey = "sonmere.mixMode.isEnabled";
  static constexpr const char* kDisabledKey = "sonmere.mixMode.disabled";
  static constexpr const char* kToggleCounterKey = "sonmere.mixMode.toggleCounter";
  static constexpr const char* kChanged = "sonmereMixModeChanged";

  explicit MixModeEngine(EngineContext& context);

  // Posts what was saved, and follows the passthrough. Once.
  void launch();

  OwnedObservable<bool, MixModeEngine> isEnabled{false};
  OwnedObservable<bool, MixModeEngine> includeSystemAudio{false};
  OwnedObservable<float, MixModeEngine> systemAudioVolume{1};    // linear, 0 to 1
  OwnedObservable<bool, MixModeEngine> previewStreamMix{false};  // never from an earlier run
  OwnedObservable<bool, MixModeEngine> hearDAWTracks{false};
  OwnedObservable<std::array<float, kTracks>, MixModeEngine> dawTrackVolumes;  // linear, 0 to 1
  OwnedObservable<std::array<bool, kTracks>, MixModeEngine> dawTrackMuted;

  // False when the kill switch in the settings forbids it.
  bool setEnabled(bool enabled);
  bool isKillSwitchActive() const { return context_.settings.boolValue(kDisabledKey); }
  void setIncludeSystemAudio(bool includes);
  void setSystemAudioVolume(float volume);
  void setPreviewStreamMix(bool previews);
  void setHearDAWTracks(bool hears);
  // Tracks count from 1; others are ignored.
  void setDAWTrackVolume(int track, float volume);
  void setDAWTrackMuted(int track, bool muted);

  // What of it the routing does.
  MixModeWish wish() const;
  // How loud a Track that other programs feed is to be heard, linear; nothing for not at all.
  std::optional<float> trackWish(int track) const;

 private:
  template <class T>
  void change(OwnedObservable<T, MixModeEngine>& value, T wanted, const char* key);
  void post() { context_.notifications.post(kChanged); }
  void systemAudioChanged();

  EngineContext& context_;
  Subscription systemAudio_;
};

}  // namespace sonmere
