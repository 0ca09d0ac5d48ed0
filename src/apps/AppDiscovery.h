#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "apps/PendingAppFamily.h"
#include "audio/engine/EngineContext.h"
#include "audio/engine/PropertyListener.h"

namespace sonmere {

// Reads the server's process objects and folds them into app families; watches for changes. Main thread.
class AppDiscovery {
 public:
  explicit AppDiscovery(EngineContext& context);

  // Runs a refresh; asked for 0.15 s after a change, once for a burst of changes.
  std::function<void()> refresh;
  std::function<void(bool isCallActive)> callStateChanged;

  void installListeners();
  // After a restart of the server: listeners on its objects are dead, whatever their IDs.
  void forgetObjects();
  void scheduleRefresh();
  // Nothing when the process list can't be read. In the order of the first process of each family.
  std::optional<std::vector<PendingAppFamily>> readFamilies();

 private:
  struct Member {
    AudioObjectID object;
    ProcessID pid;
    std::string bundleID;
  };
  struct Owner {
    std::string key;
    std::optional<RunningApplication> application;
  };
  std::optional<Member> readMember(AudioObjectID object);
  bool isForeign(const Member& member) const;
  Owner findOwner(const Member& member);
  Owner findWebKitOwner(const Member& member);
  void addMember(std::vector<PendingAppFamily>& families, std::map<std::string, bool>& hasRegularOwner,
                 const Member& member);
  void watchWebKit(const std::set<AudioObjectID>& present);
  void watchCallAudio(AudioObjectID daemon);
  void readCallState();
  OSStatus listen(PropertyListener& listener, AudioObjectID object, AudioProperty property,
                  std::function<void()> handler);

  EngineContext& context_;
  ScopedTask scheduledRefresh_;
  PropertyListener processListener_;
  std::map<AudioObjectID, Member> members_;  // as the server told of them: it never changes
  std::vector<Subscription> workspaceObservers_;
  std::map<AudioObjectID, PropertyListener> webKitOutputListeners_;
  AudioObjectID callAudioListenerObject_ = kAudioObjectUnknown;
  PropertyListener callAudioListener_;
};

}  // namespace sonmere
