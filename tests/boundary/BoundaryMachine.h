#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "audio/device/Platform.h"
#include "base/Runtime.h"

namespace sonmere {

// A machine with a default loudspeaker of two channels, a microphone and the ten virtual devices, behind the
// boundary, whichever platform it is of.
class BoundaryMachine {
 public:
  virtual ~BoundaryMachine() = default;
  // Why there is none; empty when there is one.
  virtual std::string problem() = 0;
  virtual Platform& platform() = 0;
  virtual Runtime& runtime() = 0;
  virtual ProcessID ownPID() = 0;
  virtual std::string speakerUID() = 0;
  virtual std::string microphoneUID() = 0;
  // The user chooses another default output, beside this program.
  virtual void chooseOutput(const std::string& uid) = 0;
  // A program that plays a constant 0.5 on a device from now on.
  virtual void play(const std::string& program, const std::string& deviceUID) = 0;
  // Such a program ends.
  virtual void end(const std::string& program) = 0;
  // A device goes away.
  virtual void remove(const std::string& deviceUID) = 0;
  // Lets the machine run until the condition holds. False: it never did.
  virtual bool until(const std::function<bool()>& condition) = 0;

  AudioHardware& hardware() { return platform().hardware(); }
  AudioDeviceID device(const std::string& uid) { return hardware().deviceForUID(uid).value_or(0); }
  // Process objects of a program.
  std::vector<AudioObjectID> processesOf(const std::string& program) {
    std::vector<AudioObjectID> found;
    for (const AudioObjectID process : hardware().processObjects().value_or(std::vector<AudioObjectID>()))
      if (hardware().processBundleID(process).value_or("") == program) found.push_back(process);
    return found;
  }
  bool untilPlaying(const std::string& program, const std::string& deviceUID) {
    play(program, deviceUID);
    return until([&] {
      const auto processes = processesOf(program);
      return !processes.empty() && hardware().processIsRunningOutput(processes[0]).value_or(false);
    });
  }
};

std::unique_ptr<BoundaryMachine> newSimulatedMachine();
std::unique_ptr<BoundaryMachine> newPipeWireMachine();

}  // namespace sonmere
