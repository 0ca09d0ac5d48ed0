#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "platform/simulated/DeviceRecorder.h"
#include "platform/simulated/SimulatedApp.h"
#include "platform/simulated/SimulatedApplications.h"
#include "platform/simulated/SimulatedLoginItem.h"
#include "platform/simulated/SimulatedPermissions.h"
#include "platform/simulated/SimulatedPower.h"
#include "platform/simulated/SimulatedPrivileges.h"
#include "platform/simulated/SimulatedWorld.h"

namespace sonmere {

// The simulated machine from outside: the user, the hardware and the other programs. Main thread.
class SimulatedHost {
 public:
  SimulatedHost(std::shared_ptr<SimulatedWorld> world, SimulatedApplications& applications,
                SimulatedPermissions& permissions, SimulatedLoginItem& loginItem,
                SimulatedPrivileges& privileges, SimulatedPower& power);

  // UIDs of the standard machine.
  static constexpr const char* kSpeakersUID = "BuiltInSpeakerDevice";
  static constexpr const char* kMicrophoneUID = "BuiltInMicrophoneDevice";
  static constexpr const char* kHeadsetUID = "USBHeadset";

  // Hardware. A device that comes back has the same UID and a new object ID.
  void plug(const SimulatedDeviceDescription& description);
  void unplug(const std::string& uid);
  // Plugs in again what was unplugged last under this UID.
  void replug(const std::string& uid);
  bool isPlugged(const std::string& uid) const;
  // Built-in speakers (+8 ppm) and microphone, and a USB headset (-20 ppm), with the built-in ones as
  // defaults.
  void plugStandardMachine();
  void setDataSource(const std::string& uid, AudioScope scope, std::uint32_t source);
  // Another program changes the rate. False when the device can't run at it.
  bool setNominalRate(const std::string& uid, double rate);
  double nominalRate(const std::string& uid) const;

  // The ten virtual devices.
  void installDriver();
  void removeDriver();
  bool isDriverInstalled() const;
  // While it lags the server lists the driver's devices, but finds none of them by its UID.
  void setTranslationLag(bool lags);

  // The user's choice of default. False when there is no such device with that side.
  bool setDefault(DefaultDevice role, const std::string& uid);
  std::string defaultUID(DefaultDevice role) const;

  // Programs.
  SimulatedApp launchApp(SimulatedAppDescription description);
  SimulatedApp app(ProcessID pid) const;
  // An application that RunningApplications::launch can start.
  void installApp(const SimulatedAppDescription& description) { applications_.install(description); }
  void setResponsibilityKnown(bool isKnown) { applications_.setResponsibilityKnown(isKnown); }

  // Ears, from now on and for as long as the result is held.
  std::shared_ptr<DeviceRecorder> hear(const std::string& uid,
                                       DeviceRecorder::Keep keep = DeviceRecorder::Keep::samples);
  // The input side, as another program reads it.
  std::shared_ptr<DeviceRecorder> readInput(const std::string& uid,
                                            DeviceRecorder::Keep keep = DeviceRecorder::Keep::samples);

  // The audio service stops, and after `downFor` comes back with new object IDs.
  void restartService(Duration downFor = Duration::zero());
  void sleep();
  void wake();
  void endSession() { power_.postWillTerminate(); }

  FaultPlan& faults() { return world_->faults(); }
  SimulatedPermissions& permissions() { return permissions_; }
  SimulatedLoginItem& loginItem() { return loginItem_; }
  SimulatedPrivileges& privileges() { return privileges_; }

  // What exists, for invariants.
  struct Counts {
    std::size_t taps = 0;
    std::size_t aggregates = 0;
    std::size_t ioProcs = 0;
    std::size_t runningIOProcs = 0;
    std::size_t units = 0;
    std::size_t runningUnits = 0;
    std::size_t captures = 0;
    std::size_t listeners = 0;
    bool operator==(const Counts&) const = default;
  };
  Counts counts() const;
  std::vector<std::string> aggregateUIDs() const;
  // As they were asked for, the oldest first.
  std::vector<TapDescription> tapDescriptions() const;
  std::vector<AggregateDescription> aggregateDescriptions() const;
  // The last calls of the boundary, at most 20,000.
  std::deque<CallRecord> ledger() const;

 private:
  std::shared_ptr<DeviceRecorder> listen(const std::string& uid, bool isInput, DeviceRecorder::Keep keep);

  std::shared_ptr<SimulatedWorld> world_;
  SimulatedApplications& applications_;
  SimulatedPermissions& permissions_;
  SimulatedLoginItem& loginItem_;
  SimulatedPrivileges& privileges_;
  SimulatedPower& power_;
  std::map<std::string, SimulatedDeviceDescription> known_;  // by UID, also while unplugged
};

}  // namespace sonmere
