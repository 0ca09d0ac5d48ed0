#pragma once

#include <memory>
#include <set>
#include <string>

#include "audio/device/ListenerTable.h"
#include "base/Log.h"
#include "base/Runtime.h"
#include "platform/pipewire/AppMover.h"
#include "platform/pipewire/ArrivalWatch.h"
#include "platform/pipewire/CycleStream.h"
#include "platform/pipewire/DefaultsWatch.h"
#include "platform/pipewire/DepartingStreams.h"
#include "platform/pipewire/DeviceDirectory.h"
#include "platform/pipewire/GraphMirror.h"
#include "platform/pipewire/NarrowOutputs.h"
#include "platform/pipewire/PipeWireLoop.h"
#include "platform/pipewire/PipeWireOptions.h"
#include "platform/pipewire/ProcessDirectory.h"
#include "platform/pipewire/ServerConnection.h"
#include "platform/pipewire/ServerDependent.h"
#include "platform/pipewire/ServerWatch.h"
#include "platform/pipewire/TapGuard.h"
#include "platform/pipewire/TapLinks.h"
#include "platform/pipewire/WaitingRoom.h"

namespace sonmere {

class DesktopApplications;

// The audio server as one value: what it has told, what this program keeps there, and who is told of changes.
// Everything in it is guarded by the loop's lock; object IDs are never used twice, so that those of a server
// that has died stay void.
class PipeWireServer final : private GraphObserver {
 public:
  // The applications are told of each process that plays.
  PipeWireServer(Runtime& runtime, Log& log, DesktopApplications& applications,
                 const PipeWireOptions& options);
  ~PipeWireServer() override;

  // Waits until the server has told its objects and has a session manager with a default device; false when
  // that is not so within the timeout.
  bool waitUntilReady(Duration timeout);

  PipeWireLoop& loop() { return loop_; }
  GraphMirror& graph() { return graph_; }
  DeviceDirectory& devices() { return devices_; }
  ProcessDirectory& processes() { return processes_; }
  ListenerTable& listeners() { return listeners_; }
  AppMover& mover() { return mover_; }
  TapLinks& links() { return links_; }
  const NarrowOutputs& narrowOutputs() const { return narrowOutputs_; }
  TapGuard& guard() { return guard_; }
  DepartingStreams& departing() { return departing_; }
  Runtime& runtime() { return runtime_; }
  Log& log() { return log_; }
  // Name or path of the server's socket; empty: the default.
  const std::string& remote() const { return remote_; }
  bool isReady() const { return connection_.isReady(); }
  // Null while there is no connection.
  pw_core* core() const { return connection_.core(); }

  AudioObjectID newID() { return nextID_++; }
  // A node name that no other stream bears, of this run or another: of devices that streams are sent to, for
  // sessions remember such devices by name.
  std::string uniqueName(const std::string& kind);
  // The same in each run, so that patchbays find the stream again.
  std::string stableName(const std::string& kind, const PipeWireDevice& device) const {
    return "sonmere." + kind + "." + device.uid;
  }
  // What users read of a stream that plays to a device, or takes from it: "Sonmere: Track 1".
  std::string descriptionOf(const PipeWireDevice& device) const;
  // All streams of this program run in one clock group.
  const std::string& group() const { return group_; }

  // Where programs play, or as how many channels, may have changed. Loop's thread.
  std::function<void()> outputsChanged;
  std::function<void()> rateChanged;

  // Rate of the whole graph, in Hz, and its usual buffer size.
  double graphRate() const;
  OSStatus setGraphRate(double rate);
  std::vector<double> allowedRates() const;
  std::uint32_t graphQuantum() const;
  // Whether a graph can run with buffers of that size.
  bool allowsQuantum(std::uint32_t frames) const;

  // The default device's UID; empty: there is none. Of a session that does not tell for two seconds it is the
  // device that it would choose.
  std::string defaultName(DefaultDevice role) const;
  OSStatus setDefaultName(DefaultDevice role, const std::string& uid);

  void add(ServerDependent& dependent) { dependents_.insert(&dependent); }
  void remove(ServerDependent& dependent) { dependents_.erase(&dependent); }
  // A new stream, or none and why. Its cycles tell whether the server is alive. Lock held once.
  OSStatus open(std::unique_ptr<CycleStream>& stream, CycleStreamPlan plan, CycleStream::Process process,
                void* refcon);
  // Its callback does not run any more once this has returned.
  void close(std::unique_ptr<CycleStream>& stream);
  // The same, for a stream whose owner takes care of its end, or has it from another.
  void watch(const CycleStream& stream);
  void unwatch(const CycleStream& stream);

 private:
  void connected(pw_core* core);
  void ready();
  void lost();
  void notify(AudioProperty property) { listeners_.notify(kAudioObjectSystemObject, property); }
  void defaultsChanged(GlobalID subject, const std::string& key, const std::optional<std::string>& value);
  void settingsChanged(const std::string& key);
  void protectDefault();
  bool isDefaultUnknown() const;
  void notifyDefaultOutput();
  void updateRoom();

  void nodeChanged(const GraphNode& node) override;
  void nodeRemoved(const GraphNode& node) override;
  void routesChanged(const GraphCard& card) override;
  void clientChanged(const GraphClient& client) override;
  void clientRemoved(const GraphClient& client) override;
  void portAdded(const GraphPort& port) override;
  void portRemoved(const GraphPort& port) override { links_.portRemoved(port); }
  void linkAdded(const GraphLink& link) override;
  void linkRemoved(const GraphLink& link) override { mover_.linkRemoved(link); }

  Runtime& runtime_;
  Log& log_;
  PipeWireLoop loop_;
  AudioObjectID nextID_ = kAudioObjectSystemObject + 1;
  std::uint64_t nextName_ = 1;
  const std::string remote_;
  const std::string group_;
  ListenerTable listeners_;
  GraphMirror graph_;
  DeviceDirectory devices_;
  ProcessDirectory processes_;
  ArrivalWatch arrivals_;
  AppMover mover_;
  TapLinks links_;
  const NarrowOutputs narrowOutputs_;
  std::set<ServerDependent*> dependents_;
  bool wasReady_ = false;
  bool isEnding_ = false;
  std::optional<Duration> lostAt_;
  std::optional<std::string> forcedRate_;
  TapGuard guard_;
  DepartingStreams departing_;
  WaitingRoom room_;
  std::string lastDefault_;
  DefaultsWatch defaultsWatch_;
  ServerWatch watch_;  // outlives the connection, whose end it is told
  ServerConnection connection_;
};

}  // namespace sonmere
