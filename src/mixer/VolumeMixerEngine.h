#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "apps/AppSource.h"
#include "apps/ClientGains.h"
#include "audio/engine/EngineContext.h"
#include "dsp/LatencySource.h"
#include "mixer/VolumeMixerAppState.h"
#include "mixer/VolumeMixerOutput.h"
#include "mixer/VolumeMixerStore.h"
#include "mixer/VolumeMixerTaps.h"

namespace sonmere {

// Who decides on the sound of a row.
enum class VolumeMixerControl {
  none,    // the mixer is off, or the app does not play
  mixer,   // a tap of the mixer
  routed,  // "Routed in Per-App Routing": its volume is set there
  hidden,  // plays untouched
  direct,  // plays untouched, because the user asked for it
  driver,  // the driver applies the volume, on sound that passes through the bridge (Siri)
};

// Per-app volume: takes every app that plays behind a muted tap and plays it again on the default output,
// each with a volume, mute, equaliser and limiter of its own. Steps aside for routed, hidden and Direct apps.
// An app without a tap is always audible by itself. Main thread only. Failures show in errorMessage and in
// the log.
class VolumeMixerEngine final : public LatencySource, public Route {
 public:
  using TapLatencyStats = sonmere::TapLatencyStats;
  struct TapLatencySnapshot {
    std::vector<TapLatencyStats> taps;  // those not muted, by bundle identifier
    double sampleRate = 48000.0;        // of the bound output device, Hz
  };

  // Loads what is saved; off until it is attached.
  VolumeMixerEngine(EngineContext& context, std::shared_ptr<ClientGains> clientGains);
  // Saves what waits to be saved, releases every app and waits for the output unit's tear-down.
  ~VolumeMixerEngine() override;

  // Follows its apps and effects, and turns on if it was on when the program last ran. The
  // source may go first.
  void attach(const std::shared_ptr<AppSource>& source);

  // To be observed; changed by the operations below only.
  OwnedObservable<bool, VolumeMixerEngine> isEnabled{false};
  OwnedObservable<std::map<std::string, VolumeMixerAppState>, VolumeMixerEngine>
      appsState;                                                 // by bundle identifier
  OwnedObservable<float, VolumeMixerEngine> masterVolume{1.0f};  // linear
  OwnedObservable<std::optional<std::string>, VolumeMixerEngine> errorMessage;
  OwnedObservable<std::set<std::string>, VolumeMixerEngine> directBundleIDs;
  OwnedObservable<std::set<std::string>, VolumeMixerEngine> dawHintSeen;
  OwnedObservable<AppEQSettings, VolumeMixerEngine> outputEQSettings;
  // Apps that are heard through the mixer now: tapped, and not muted. Told once the taps are as it says.
  OwnedObservable<std::set<std::string>, VolumeMixerEngine> heardBundleIDs;

  // False when the output could not be built; errorMessage tells why, and the mixer is off.
  bool setEnabled(bool enabled);
  // Gives taps to the apps that are to have one and takes them from all others.
  void syncTaps();

  // Volumes are linear; they are held to 0 up to 4.0 for apps and 2.0 for the master, 1.0 without boost.
  void setVolume(const std::string& bundleID, float volume);
  void setMuted(const std::string& bundleID, bool muted);
  void setMasterVolume(float volume);
  // After a change of the boost permission: lowers what is above the limit.
  void clampVolumesToLimit();
  // The state of an app, 100 % and not muted for one without.
  VolumeMixerAppState appState(const std::string& bundleID) const;

  // Leaves an app untouched, or takes it back. False for rows that can't be Direct: system sounds, calls and
  // Siri.
  bool setDirect(const std::string& bundleID, bool direct);
  // Whether Direct is to be offered for this app now (see DAWHint).
  bool shouldOfferDirect(const std::string& bundleID) const;
  void markDAWHintSeen(const std::string& bundleID);

  void setOutputEqualiser(const AppEQSettings& settings, SettingForm form = SettingForm::final);

  VolumeMixerControl controlOf(const std::string& bundleID) const;
  const std::map<std::string, std::shared_ptr<VolumeMixerTap>>& activeTaps() const { return taps_.active; }
  // The device that the output plays on, 0 for none, and its rate in Hz.
  AudioDeviceID boundOutputDevice() const { return output_.boundDevice(); }
  double outputSampleRate() const { return output_.deviceRate(); }

  TapLatencySnapshot tapLatencySnapshot() const;
  std::vector<RingReport> latencyRings() const override;
  // The latest 2,048 samples, mono, of an app after its equaliser, or of the output ("__output__"); nothing
  // for what does not play here.
  std::shared_ptr<const SpectrumRing> fftBuffer(const std::string& bundleID) const;

  // Writes what a volume drag has changed and not yet saved.
  void flushPendingSaves();

  // Keeping an output under the apps (VolumeMixerRecovery.cpp).
  void serverLost() override;
  void suspend() override;
  void revalidate(RevalidationReason reason) override;
  // With all of its attempts.
  void reset(ResetRoutingResult& result) override;
  RouteHealthEntry health() const override;

 private:
  void restoreEnabled();
  // Leaves no app tapped and no output running, here and in the settings.
  void switchOff();
  void releaseApps();
  void publishHeard();
  CaptureExpectation appsToCome(const AppSource& source) const;
  void expect(CaptureExpectation apps);

  void syncOnce();
  void syncRow(AppSource& source, const TappedAppInfo& row);
  void addTap(AppSource& source, const TappedAppInfo& row);
  // Routed, hidden or Direct.
  bool mustLeaveAlone(const AppSource& source, const std::string& bundleID) const;
  void applyEffects(AppSource& source, VolumeMixerTap& tap) const;
  void reapplyEffects();
  void previewEffect(const AppEffectPreview& preview);
  void pushClientGains();
  void saveAppsState();
  void saveAppsStateSoon();

  bool buildOutput();
  void tell(const std::optional<std::string>& message);
  void rebuildOutputSoon(Duration delay);
  void rebuildOutput();
  void retryOutput();

  EngineContext& context_;
  const std::shared_ptr<ClientGains> clientGains_;
  VolumeMixerStore store_;
  VolumeMixerTaps taps_;
  VolumeMixerOutput output_;
  std::weak_ptr<AppSource> source_;
  bool wasAttached_ = false;
  CaptureExpectation expected_;  // what the server has been told last
  bool isSyncing_ = false;
  bool mustSyncAgain_ = false;

  bool isSuspendedForSleep_ = false;
  int failedRebuilds_ = 0;
  std::optional<AudioDeviceID> triedDevice_;  // the default output of the latest build
  ScopedTask outputRebuild_;
  ScopedTask persistDebounce_;
  bool persistQuitFlushRegistered_ = false;

  Subscription availableAppsCancellable_;
  Subscription hiddenAppsCancellable_;
  Subscription eqSettingsCancellable_;
  Subscription limiterSettingsCancellable_;
  Subscription previewCancellable_;
  Subscription boostCancellable_;
  Subscription quitFlush_;
  RouteKeeper::Registration registration_;
};

}  // namespace sonmere
