#include "audio/engine/DeviceDirectory.h"

#include <fmt/format.h>

#include <algorithm>

#include "audio/device/CoreAudioUtils.h"

namespace sonmere {

namespace {

// Made by the program for itself, one for each capture: they come and go with every app.
bool isPrivateCapture(std::string_view uid) {
  return uid.starts_with("Sonmere_AppTap_") || uid.starts_with("Sonmere_VolMixer_");
}

}  // namespace

OSStatus DeviceDirectory::start() {
  if (list_) return noErr;
  const OSStatus status = list_.listen(hardware_, kAudioObjectSystemObject, AudioProperty::devices, queue_,
                                       [this] { listChanged(); });
  refresh();
  return status;
}

void DeviceDirectory::stop() {
  list_.stop();
  known_.clear();
  devices_.silently().clear();
}

const Observable<std::vector<DeviceFacts>>& DeviceDirectory::devices() {
  start();
  return devices_;
}

const DeviceFacts* DeviceDirectory::withUID(std::string_view uid) {
  const auto& all = *devices();
  const auto found = std::ranges::find(all, uid, &DeviceFacts::uid);
  return found == all.end() ? nullptr : &*found;
}

std::string DeviceDirectory::channelName(AudioDeviceID device, AudioScope scope, int channel) {
  const std::string key = fmt::format("{}/{}/{}", device, int(scope), channel);
  const auto found = channelNames_.find(key);
  if (found != channelNames_.end()) return found->second;
  return channelNames_[key] = CoreAudioUtils::channelName(hardware_, device, scope, channel);
}

void DeviceDirectory::forget() {
  for (auto& [id, known] : known_) known.rate.forget();
  known_.clear();
  listChanged();
}

void DeviceDirectory::listChanged() {
  const auto idsOf = [](const auto& devices) {
    std::vector<AudioDeviceID> ids;
    for (const DeviceFacts& each : devices) ids.push_back(each.id);
    return ids;
  };
  const auto before = idsOf(*devices_);
  refresh();
  if (idsOf(*devices_) != before) listChanges_.set(*listChanges_ + 1);
}

void DeviceDirectory::refresh() {
  const auto list = hardware_.devices().value_or(std::vector<AudioDeviceID>{});
  channelNames_.clear();
  for (auto known = known_.begin(); known != known_.end();) {
    const bool isGone = std::ranges::find(list, known->first) == list.end();
    if (isGone) known->second.rate.forget();
    known = isGone ? known_.erase(known) : std::next(known);
  }
  for (const AudioDeviceID device : list)
    if (!known_.contains(device)) read(device);
  publish(list);
}

void DeviceDirectory::read(AudioDeviceID device) {
  const auto uid = hardware_.deviceUID(device);
  if (!uid) return;  // gone meanwhile
  Known& known = known_[device];
  known.isPrivate = isPrivateCapture(*uid);
  if (known.isPrivate) return;
  DeviceFacts& facts = known.facts;
  facts.id = device;
  facts.uid = *uid;
  facts.isOwn = CoreAudioUtils::isOwnDeviceUID(facts.uid);
  facts.name = hardware_.deviceName(device).value_or("");
  facts.transport = hardware_.transportType(device).value_or(0);
  facts.inputChannels = CoreAudioUtils::inputChannelCount(hardware_, device);
  facts.outputChannels = CoreAudioUtils::outputChannelCount(hardware_, device);
  known.rate.listen(hardware_, device, AudioProperty::nominalSampleRate, queue_,
                    [this, device] { readRate(device); });
  facts.sampleRate = hardware_.nominalSampleRate(device).value_or(0);
}

void DeviceDirectory::readRate(AudioDeviceID device) {
  const auto known = known_.find(device);
  if (known == known_.end()) return;
  const double rate = hardware_.nominalSampleRate(device).value_or(0);
  if (rate == known->second.facts.sampleRate) return;
  known->second.facts.sampleRate = rate;
  devices_.update([&](auto& all) {
    for (DeviceFacts& each : all)
      if (each.id == device) each.sampleRate = rate;
  });
}

void DeviceDirectory::publish(const std::vector<AudioDeviceID>& order) {
  std::vector<DeviceFacts> all;
  for (const AudioDeviceID device : order)
    if (const auto known = known_.find(device); known != known_.end() && !known->second.isPrivate)
      all.push_back(known->second.facts);
  if (all != *devices_) devices_.set(std::move(all));
}

}  // namespace sonmere
