#include "platform/simulated/StandardMachine.h"

#include <algorithm>
#include <string>

#include "platform/simulated/SampleSources.h"

namespace sonmere {

namespace {

SimulatedDeviceDescription virtualDevice(const std::string& uid, const std::string& name) {
  SimulatedDeviceDescription device;
  device.uid = uid;
  device.name = name;
  device.transport = TransportType::virtualDevice;
  device.inputChannels = device.outputChannels = 2;
  device.loopsBack = true;
  return device;
}

}  // namespace

std::vector<SimulatedDeviceDescription> standardMachine() {
  SimulatedDeviceDescription speakers;
  speakers.uid = "BuiltInSpeakerDevice";
  speakers.name = "Built-in Speakers";
  speakers.transport = TransportType::builtIn;
  speakers.clockErrorPpm = 8;
  speakers.outputDataSource = kDataSourceInternalSpeaker;

  SimulatedDeviceDescription microphone;
  microphone.uid = "BuiltInMicrophoneDevice";
  microphone.name = "Built-in Microphone";
  microphone.transport = TransportType::builtIn;
  microphone.outputChannels = 0;
  microphone.inputChannels = 1;
  microphone.clockErrorPpm = 8;
  microphone.inputDataSource = kDataSourceInternalMicrophone;
  microphone.inputSignal = [] { return SampleSources::tone(220, 0.1f); };

  SimulatedDeviceDescription headset;
  headset.uid = "USBHeadset";
  headset.name = "USB Headset";
  headset.transport = TransportType::usb;
  headset.inputChannels = 1;
  headset.clockErrorPpm = -20;
  headset.inputSignal = [] { return SampleSources::tone(330, 0.1f); };
  return {speakers, microphone, headset};
}

const std::vector<SimulatedDeviceDescription>& virtualDevices() {
  static const std::vector<SimulatedDeviceDescription> devices = [] {
    std::vector<SimulatedDeviceDescription> all = {
        virtualDevice("ToneFerry_UID", "Sonmere Tone Ferry"),
        virtualDevice("ToneFerry_Mic_UID", "Sonmere internal mic bus")};
    for (int track = 1; track <= 8; ++track)
      all.push_back(virtualDevice("ToneFerry_UID_Track_" + std::to_string(track),
                                  "Sonmere Track " + std::to_string(track)));
    return all;
  }();
  return devices;
}

bool isDriverDevice(std::string_view uid) {
  return std::ranges::any_of(virtualDevices(), [&](const auto& each) { return each.uid == uid; });
}

}  // namespace sonmere
