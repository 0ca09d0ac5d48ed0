#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "audio/device/AudioTypes.h"
#include "platform/desktop/AppIdentity.h"
#include "platform/desktop/SandboxProcesses.h"
#include "platform/pipewire/GraphMirror.h"

namespace sonmere {

class DesktopEntries;

// A process that plays, or played and is still connected. Event sounds of a process stand apart from what
// else it plays: they belong to another family.
struct PipeWireProcess {
  AudioObjectID id = kAudioObjectUnknown;
  ProcessID pid = 0;
  bool playsEventSounds = false;
  AppIdentity identity;
  std::set<GlobalID> streams;
  bool isRunning = false;
};

// The process objects among the server's streams. A process object stays while the process is connected to
// the server, so that a player that opens a new stream for each piece stays what it is. Guarded by the loop's
// lock.
class ProcessDirectory {
 public:
  ProcessDirectory(const GraphMirror& graph, const DesktopEntries& entries,
                   std::function<AudioObjectID()> newID);

  // Loop's thread.
  std::function<void()> listChanged;
  std::function<void(AudioObjectID process)> runningChanged;
  std::function<void(ProcessID pid, const AppIdentity& identity)> appeared;
  std::function<void(ProcessID pid)> vanished;

  void nodeChanged(const GraphNode& node);
  void nodeRemoved(const GraphNode& node);
  void clientChanged(const GraphClient& client);
  void clientRemoved(const GraphClient& client);
  void clear();

  const PipeWireProcess* process(AudioObjectID id) const;
  const std::map<AudioObjectID, PipeWireProcess>& all() const { return processes_; }
  // The process object that a stream belongs to; also of a stream of which little is known yet.
  const PipeWireProcess* processOfStream(const GraphNode& node) const;
  // Whose a stream is, known or new; nothing while too little has been told, and for what is no program's.
  std::optional<std::string> bundleIDOfStream(const GraphNode& node) const;
  // Another known process of the same app, for a stream whose own process is new. Null when there is none.
  const PipeWireProcess* relativeOfStream(const GraphNode& node) const;

 private:
  struct Place {
    ProcessID pid = 0;
    bool playsEventSounds = false;
    auto operator<=>(const Place&) const = default;
  };
  ProcessID processIDOf(const AppProperties& stream, const AppProperties& client) const;
  std::optional<Place> placeOf(const GraphNode& node) const;
  const PipeWireProcess* find(const Place& place) const;
  PipeWireProcess& entry(const Place& place, const GraphNode& node);
  bool isConnected(ProcessID pid) const;
  void updateRunning(PipeWireProcess& process);
  void dropIfGone(AudioObjectID id);

  const GraphMirror& graph_;
  const DesktopEntries& entries_;
  const std::function<AudioObjectID()> newID_;
  std::map<AudioObjectID, PipeWireProcess> processes_;
  mutable SandboxProcesses sandboxes_;  // a cache
};

}  // namespace sonmere
