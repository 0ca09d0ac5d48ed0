#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "audio/engine/EngineContext.h"
#include "audio/engine/InputEar.h"
#include "audio/engine/Route.h"
#include "base/Observable.h"
#include "base/TaskToken.h"
#include "system/MultiOutput.h"

namespace sonmere {

// Everything that the system plays reaches an output and the bridge: a public device of both is the default
// output while this is on. Whoever makes another device the default has the last word: then it is off. Main
// thread; switching blocks for settling times, where the server needs them.
class SystemAudioEngine final : public Route {
 public:
  static constexpr const char* kEnabledKey = "systemAudio_isEnabled";
  static constexpr const char* kOriginalDeviceKey = "systemAudio_originalOutputDeviceID";
  static constexpr const char* kMultiOutputDeviceKey = "systemAudio_multiOutputDeviceID";
  static constexpr const char* kFollowSystemDefaultKey = "systemAudio_followSystemDefault";
  static constexpr const char* kSelectedOutputDeviceUIDKey = "selectedOutputDeviceUID";
  static constexpr const char* kLastSeenAppVersionKey = "systemAudio_lastSeenAppVersion";
  static constexpr const char* kRestoreAfterUpdateKey = "sonmere.sap.restoreAfterUpdate";
  static constexpr const char* kUpdateNoticeKey = "sonmere.sap.disabledByUpdateNotice";
  static constexpr const char* kChanged = "sonmereSystemAudioChanged";
  static constexpr const char* kRestoreEndedOff = "sonmereSAPRestoreEndedOff";

  SystemAudioEngine(EngineContext& context, std::string appVersion);
  // The default output is the user's again; what was on is on again at the next start.
  ~SystemAudioEngine() override;

  // The highest level of the microphone since this was asked last, on the meters' scale; nothing while it is
  // off. Before `launch`.
  std::function<std::optional<float>()> takeMicPeak;

  // Comes back to what was on, a little later; after an update once the server has settled. Once.
  void launch();

  OwnedObservable<bool, SystemAudioEngine> isEnabled{false};
  OwnedObservable<std::vector<OutputCandidate>, SystemAudioEngine> availableOutputDevices;
  // The output that is paired with the bridge; nothing while there is none.
  OwnedObservable<std::optional<OutputCandidate>, SystemAudioEngine> selectedOutput;
  OwnedObservable<bool, SystemAudioEngine> followSystemDefault{false};
  OwnedObservable<std::optional<std::string>, SystemAudioEngine> errorMessage;

  // False when it could not be: errorMessage says why. Where only a device is missing the wish waits for it.
  bool setEnabled(bool enabled);
  // False when there is no such device.
  bool select(const std::string& uid);
  void setFollowing(bool follows);
  // It was switched off after an update, and the user has not been told.
  bool hasUpdateNotice() const { return context_.settings.boolValue(kUpdateNoticeKey); }

  struct SAPRouteReport {
    bool enabled = false;
    bool aggregateExists = false;
    bool bridgeInAggregate = false;
    std::optional<std::string> pairedOutputUID;
    bool pairedOutputResolves = false;
    std::optional<std::string> pairedOutputName;
    bool aggregateIsDefaultOutput = false;
  };
  SAPRouteReport sapRouteReport() const;
  struct ResetReport {
    std::vector<std::string> staleMembers;  // UIDs
    int sweptAggregates = 0;
    bool wasEnabled = false;
  };
  ResetReport manualReset();

  void serverLost() override;
  void revalidate(RevalidationReason reason) override;
  RouteHealthEntry health() const override;
  // A device that is missing, or that the bridge has dropped out of, is made anew; one that stands is
  // listened to.
  RouteHealthEntry check(RevalidationReason reason) override;
  void reset(ResetRoutingResult& result) override;

 private:
  AudioHardware& hardware() const { return context_.hardware(); }
  std::optional<AudioDeviceID> bridge() const;
  bool exists(AudioDeviceID device) const;
  bool isUsers(AudioDeviceID device) const;
  const OutputCandidate* candidate(const std::string& uid) const;
  const OutputCandidate* candidate(AudioDeviceID device) const;
  std::optional<OutputCandidate> initialOutput() const;
  bool setDefault(AudioDeviceID device);
  void leaveOwnDefault();

  void checkForUpdate();
  void reconnect();
  void refreshDevices();
  bool enable();
  bool refuse(const std::string& why);
  bool awaitDevice(const std::string& missing);
  void endWish();
  void finishEnable(AudioDeviceID device);
  void disable();
  void setOriginal(AudioDeviceID device);
  void restoreOriginal();
  void forgetOriginal();
  void destroyMultiOutput();
  void rebuild();
  void setSelection(const OutputCandidate& output);
  void changed();
  void listenToBridge();

  void sync();
  bool followDefault(AudioDeviceID now, bool isMultiOut);
  void switchedAway();
  void switchedTo(AudioDeviceID device);
  void devicesChanged();
  void pairWithNewcomer(const std::set<AudioDeviceID>& before);
  void mixModeChanged();

  void scheduleVerify(Duration delay);
  void verify();
  void heal(const std::string& reason);
  // Off and on again, twice at most between two starts of the program or two resets by the user.
  void structuralRebuild(const std::string& reason);
  void switchOffAndOn();
  std::optional<AudioDeviceID> presentMultiOutput() const;
  bool isMixModeOn() const;
  void beginRestore();
  bool isSettled();
  void endRestore(const std::string& why, bool isNotice);
  void continueRestore();

  EngineContext& context_;
  const std::string appVersion_;
  const MultiOutput multiOutput_;
  InputEar ear_;
  std::optional<AudioDeviceID> multiOutputDeviceID_;
  std::optional<AudioDeviceID> originalOutputDeviceID_;
  std::string originalUID_;  // of that one, for after a restart of the server
  std::set<AudioDeviceID> previousDeviceIDs_;
  bool lacksDevice_ = false;      // it is wanted, and comes with its devices
  bool isReconfiguring_ = false;  // a rebuild runs: what the system tells is its echo
  bool sapHealing_ = false;
  int sapHealAttempts_ = 0;
  int structuralRebuildAttempts_ = 0;
  std::optional<Duration> restoreVerifyDeadline_;  // uptime
  struct Restore {
    Duration since{0};  // uptime
    int settledPasses = 0;
    std::vector<AudioDeviceID> lastIDs;
  };
  Restore restore_;
  PropertyListener defaultOutputListener_;
  Subscription deviceList_, mixMode_;
  ScopedTask reconnect_, reenable_, rebuildEnd_, verify_, restoreLoop_, switchOn_;
  RouteKeeper::Registration registration_;
};

}  // namespace sonmere
