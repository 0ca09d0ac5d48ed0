#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "audio/device/AudioHardware.h"
#include "audio/engine/PropertyListener.h"
#include "base/Observable.h"

namespace sonmere {

// A device, as the server tells of it.
struct DeviceFacts {
  AudioDeviceID id = kAudioObjectUnknown;
  std::string uid;
  std::string name;
  std::uint32_t transport = 0;
  int inputChannels = 0;
  int outputChannels = 0;
  double sampleRate = 0;  // Hz; 0 where it can't be told
  bool isOwn = false;     // of the driver or an aggregate of the program's

  bool operator==(const DeviceFacts&) const = default;
};

// The devices that the server lists, asked for once per change: the list, and of each new device what there
// is to know. The program's private captures are left out. It is as new as what the server has told the main
// queue; whoever is about to act on a device asks the server. Main thread.
class DeviceDirectory {
 public:
  DeviceDirectory(AudioHardware& hardware, Queue& mainQueue) : hardware_(hardware), queue_(mainQueue) {}

  // Follows the server from now on, if it does not yet. Anything but success: it can't, and whoever asks
  // reads anew.
  OSStatus start();
  // Knows nothing, until the next start or ask.
  void stop();

  // In the server's order. Told after each change of the list or of a rate.
  const Observable<std::vector<DeviceFacts>>& devices();
  // Counts the changes of the list; told after the devices.
  const Observable<int>& listChanges() { return listChanges_; }
  // Null for none.
  const DeviceFacts* withUID(std::string_view uid);
  // The channel's name, or its number; channels count from 1. Kept until the list changes.
  std::string channelName(AudioDeviceID device, AudioScope scope, int channel);

  // After a restart of the server: no ID means what it meant.
  void forget();

 private:
  struct Known {
    DeviceFacts facts;
    bool isPrivate = false;
    PropertyListener rate;
  };
  void listChanged();
  void refresh();
  void read(AudioDeviceID device);
  void readRate(AudioDeviceID device);
  void publish(const std::vector<AudioDeviceID>& order);

  AudioHardware& hardware_;
  Queue& queue_;
  std::map<AudioDeviceID, Known> known_;
  OwnedObservable<std::vector<DeviceFacts>, DeviceDirectory> devices_;
  OwnedObservable<int, DeviceDirectory> listChanges_{0};
  std::map<std::string, std::string> channelNames_;  // by device, scope and channel
  PropertyListener list_;
};

}  // namespace sonmere
