#pragma once

#include <array>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include "audio/device/CaptureExpectation.h"
#include "audio/device/Permissions.h"
#include "platform/simulated/CaptureFeed.h"
#include "platform/simulated/DeviceRecorder.h"
#include "platform/simulated/SimulatedAggregate.h"
#include "platform/simulated/SimulatedDevice.h"
#include "platform/simulated/SimulatedIOProc.h"
#include "platform/simulated/SimulatedProcess.h"
#include "platform/simulated/SimulatedTap.h"
#include "platform/simulated/UnitRenderer.h"

namespace sonmere {

// Everything that exists on the server, by ID, and who is connected to what. Guarded by the world's lock; it
// changes only while no device cycle runs.
struct SimulatedGraph {
  std::map<AudioDeviceID, std::shared_ptr<SimulatedDevice>> devices;
  std::map<AudioDeviceID, std::shared_ptr<SimulatedAggregate>> aggregates;
  std::map<AudioObjectID, SimulatedTap> taps;
  std::map<ProcessID, std::shared_ptr<SimulatedProcess>> processes;
  std::map<IOProcID, SimulatedIOProc> ioProcs;
  std::vector<std::shared_ptr<UnitRenderer>> units;
  std::vector<std::shared_ptr<CaptureFeed>> captures;
  std::vector<std::weak_ptr<DeviceRecorder>> recorders;
  std::array<AudioDeviceID, 3> defaults{};  // by DefaultDevice
  std::vector<std::string> plugOrder;       // UIDs of devices
  std::array<PermissionStatus, 2> permissions{};
  std::map<std::string, CaptureExpectation> expectations;  // by owner
  // The driver's devices are listed, but no UID leads to them yet.
  bool translationLags = false;

  SimulatedEndpoint* endpoint(AudioDeviceID id) const;
  SimulatedDevice* device(AudioDeviceID id) const;
  SimulatedAggregate* aggregate(AudioDeviceID id) const;
  SimulatedEndpoint* endpointForUID(std::string_view uid) const;
  SimulatedProcess* process(AudioObjectID id) const;
  AudioDeviceID& defaultFor(DefaultDevice role) { return defaults[std::size_t(role)]; }
  AudioDeviceID defaultFor(DefaultDevice role) const { return defaults[std::size_t(role)]; }
  PermissionStatus& permission(Permission which) { return permissions[std::size_t(which)]; }
  bool allows(Permission which) const {
    return permissions[std::size_t(which)] == PermissionStatus::authorized;
  }

  // Whether the tap takes this process's sound.
  bool covers(const SimulatedTap& tap, const SimulatedProcess& process) const {
    return process.id != kAudioObjectUnknown && tap.covers(process.id);
  }
  // Whether some engine has said that it will capture this app.
  bool isExpected(const SimulatedProcess& process) const;
  // Whether a tap that somebody takes sound from covers it.
  bool isCaptured(const SimulatedProcess& process) const;
  const SimulatedTap* tapForUID(std::string_view uid) const;
  // Not heard on its device because of a muted tap.
  bool isSilenced(const SimulatedProcess& process) const;

  // Started clients of one endpoint.
  bool hasOutputClients(AudioDeviceID id) const;
  bool hasInputClients(AudioDeviceID id) const;
  bool hasPlayingProcesses(AudioDeviceID id) const;
  bool hasRecorders(AudioDeviceID id, bool isInput) const;
  // A tap aggregate whose sound somebody takes.
  bool isTapAggregateActive(const SimulatedAggregate& aggregate) const;

  // Works out from what is present: where processes play, what aggregates consist of and who clocks them,
  // and what runs.
  void resolve();

 private:
  void resolveDefaults();
  void resolveMembers(SimulatedAggregate& aggregate);
  void resolveTapClock(SimulatedAggregate& aggregate);
  void resolveProcesses();
  void resolveRunning();
  // Runs because an aggregate does that it belongs to, or that it clocks.
  bool servesRunning(const SimulatedEndpoint& endpoint) const;
};

}  // namespace sonmere
