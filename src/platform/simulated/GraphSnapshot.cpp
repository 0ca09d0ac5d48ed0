#include "platform/simulated/GraphSnapshot.h"

#include <algorithm>

namespace sonmere {

GraphSnapshot::GraphSnapshot(const SimulatedGraph& graph) : defaults_(graph.defaults) {
  for (const auto& [id, d] : graph.devices)
    endpoints_[id] = {d->sampleRate,
                      d->outputChannels,
                      d->inputChannels,
                      d->dataSource(AudioScope::output),
                      d->dataSource(AudioScope::input),
                      d->isRunning};
  for (const auto& [id, a] : graph.aggregates)
    endpoints_[id] = {a->sampleRate, a->outputChannels, a->inputChannels, 0, 0, a->isRunning};
  for (const auto& [pid, process] : graph.processes)
    if (process->id != kAudioObjectUnknown) processes_[process->id] = process->isRunningOutput;
}

void GraphSnapshot::notifyChanges(const GraphSnapshot& after, ListenerTable& listeners) const {
  const auto sameKeys = [](const auto& a, const auto& b) {
    return std::ranges::equal(a, b, [](const auto& x, const auto& y) { return x.first == y.first; });
  };
  for (const auto& [id, endpoint] : endpoints_)
    if (!after.endpoints_.contains(id)) {
      listeners.notify(id, AudioProperty::isAlive);
      listeners.removeObject(id);
    }
  for (const auto& [id, isPlaying] : processes_)
    if (!after.processes_.contains(id)) listeners.removeObject(id);
  if (!sameKeys(endpoints_, after.endpoints_))
    listeners.notify(kAudioObjectSystemObject, AudioProperty::devices);
  constexpr std::array kDefaultProperties = {AudioProperty::defaultOutput, AudioProperty::defaultInput,
                                             AudioProperty::defaultSystemOutput};
  for (std::size_t role = 0; role < defaults_.size(); ++role)
    if (defaults_[role] != after.defaults_[role])
      listeners.notify(kAudioObjectSystemObject, kDefaultProperties[role]);
  if (!sameKeys(processes_, after.processes_))
    listeners.notify(kAudioObjectSystemObject, AudioProperty::processObjectList);
  for (const auto& [id, endpoint] : after.endpoints_) notifyEndpoint(id, endpoint, listeners);
  for (const auto& [id, isPlaying] : after.processes_) {
    const auto before = processes_.find(id);
    if (before != processes_.end() && before->second != isPlaying)
      listeners.notify(id, AudioProperty::isRunningOutput);
  }
}

void GraphSnapshot::notifyEndpoint(AudioDeviceID id, const Endpoint& after, ListenerTable& listeners) const {
  const auto found = endpoints_.find(id);
  if (found == endpoints_.end()) return;
  const Endpoint& before = found->second;
  if (before.sampleRate != after.sampleRate) listeners.notify(id, AudioProperty::nominalSampleRate);
  if (before.outputChannels != after.outputChannels)
    listeners.notify(id, AudioProperty::streamConfiguration, AudioScope::output);
  if (before.inputChannels != after.inputChannels)
    listeners.notify(id, AudioProperty::streamConfiguration, AudioScope::input);
  if (before.outputSource != after.outputSource)
    listeners.notify(id, AudioProperty::dataSource, AudioScope::output);
  if (before.inputSource != after.inputSource)
    listeners.notify(id, AudioProperty::dataSource, AudioScope::input);
  if (before.isRunning != after.isRunning) listeners.notify(id, AudioProperty::isRunningSomewhere);
}

}  // namespace sonmere
