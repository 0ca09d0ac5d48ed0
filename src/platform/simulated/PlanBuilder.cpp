#include "platform/simulated/PlanBuilder.h"

#include <algorithm>
#include <cstring>

namespace sonmere {

namespace {

// Adds `channels` channels of `from` into `to`, each side at its own offset and stride.
void addChannels(const float* from, std::uint32_t fromStride, float* to, std::uint32_t toStride,
                 std::uint32_t channels, std::uint32_t frames) {
  for (std::uint32_t i = 0; i < frames; ++i)
    for (std::uint32_t channel = 0; channel < channels; ++channel)
      to[std::size_t(i) * toStride + channel] += from[std::size_t(i) * fromStride + channel];
}

void copyChannels(const float* from, std::uint32_t fromStride, float* to, std::uint32_t toStride,
                  std::uint32_t channels, std::uint32_t frames) {
  for (std::uint32_t i = 0; i < frames; ++i)
    for (std::uint32_t channel = 0; channel < channels; ++channel)
      to[std::size_t(i) * toStride + channel] = from[std::size_t(i) * fromStride + channel];
}

}  // namespace

PlanBuilder::PlanBuilder(SimulatedGraph& graph) : graph_(graph) {
  for (const auto& [pid, process] : graph_.processes)
    if (process->isOwn) own_ = process.get();
  if (!own_) return;
  ownIsSilenced_ = graph_.isSilenced(*own_);
  ownIsTapped_ = ownIsSilenced_ || std::ranges::any_of(graph_.taps, [&](const auto& entry) {
                   return graph_.covers(entry.second, *own_);
                 });
}

std::map<AudioDeviceID, std::unique_ptr<EndpointPlan>> PlanBuilder::build() {
  std::map<AudioDeviceID, std::unique_ptr<EndpointPlan>> plans;
  for (const auto& [id, device] : graph_.devices)
    plans[id] = hostsWork(*device) ? buildDevice(*device) : nullptr;
  dropUnusedBridges();
  return plans;
}

bool PlanBuilder::isActive(const SimulatedEndpoint& endpoint) const {
  if (graph_.hasPlayingProcesses(endpoint.id) || graph_.hasOutputClients(endpoint.id) ||
      graph_.hasInputClients(endpoint.id) || graph_.hasRecorders(endpoint.id, false))
    return true;
  return std::ranges::any_of(graph_.aggregates, [&](const auto& entry) {
    const SimulatedAggregate& aggregate = *entry.second;
    return !aggregate.hasMembers() && aggregate.clock == endpoint.id &&
           graph_.isTapAggregateActive(aggregate);
  });
}

bool PlanBuilder::hostsWork(const SimulatedDevice& device) const {
  return isActive(device) || std::ranges::any_of(graph_.aggregates, [&](const auto& entry) {
           const auto& members = entry.second->members;
           return entry.second->hasMembers() && std::ranges::find(members, device.id) != members.end() &&
                  isActive(*entry.second);
         });
}

double PlanBuilder::trueRate(const SimulatedEndpoint& endpoint) const {
  if (const SimulatedDevice* device = graph_.device(endpoint.id)) return device->trueRate();
  const SimulatedAggregate* aggregate = graph_.aggregate(endpoint.id);
  const SimulatedEndpoint* clock = aggregate ? graph_.endpoint(aggregate->clock) : nullptr;
  return clock ? trueRate(*clock) * endpoint.sampleRate / clock->sampleRate : endpoint.sampleRate;
}

std::shared_ptr<ClockBridge> PlanBuilder::bridge(SimulatedAggregate& aggregate, SimulatedAggregate::Lane lane,
                                                 AudioDeviceID other, const ClockBridge::Shape& shape) {
  const std::pair key{lane, other};
  used_[{&aggregate, key}] = true;
  auto& found = aggregate.bridges[key];
  if (!found || found->shape() != shape) found = std::make_shared<ClockBridge>(shape);
  return found;
}

void PlanBuilder::dropUnusedBridges() {
  for (const auto& [id, aggregate] : graph_.aggregates)
    std::erase_if(aggregate->bridges, [&](const auto& entry) {
      return !used_.contains({aggregate.get(), entry.first});
    });
}

std::unique_ptr<EndpointPlan> PlanBuilder::newPlan(SimulatedEndpoint& endpoint) {
  auto plan = std::make_unique<Plan>();
  plan->frames = endpoint.bufferFrames;
  plan->outputChannels = endpoint.outputChannels;
  plan->inputChannels = endpoint.inputChannels;
  plan->sampleRate = endpoint.sampleRate;
  plan->state = endpoint.state;
  plan->mix.resize(std::size_t(plan->frames) * plan->outputChannels);
  plan->input.resize(std::size_t(plan->frames) * plan->inputChannels);
  plan->inputBlock = plan->earlyInputBlock = plan->othersInputBlock = plan->input.data();
  if (endpoint.state->ownBlock.size() != std::size_t(2) * plan->frames)
    endpoint.state->ownBlock.assign(std::size_t(2) * plan->frames, 0.0f);
  return plan;
}

std::unique_ptr<EndpointPlan> PlanBuilder::buildDevice(SimulatedDevice& device) {
  auto plan = newPlan(device);
  const bool loopsBack = device.description().loopsBack;
  if (loopsBack) {
    auto& last = device.state->lastMix;
    if (last.size() != plan->mix.size()) last.assign(plan->mix.size(), 0.0f);
    plan->inputBlock = plan->othersInputBlock = plan->mix.data();
    plan->earlyInputBlock = last.data();
  } else if (device.inputChannels > 0) {
    addPhysicalInput(device, *plan);
  }
  plan->steps.push_back([&mix = plan->mix](const AudioTimeStamp&) { std::ranges::fill(mix, 0.0f); });
  for (const auto& [id, aggregate] : graph_.aggregates)
    if (aggregate->hasMembers() && aggregate->clock == device.id && isActive(*aggregate))
      addHostedAggregate(*aggregate, device, *plan);
  addMemberOutput(device, *plan);
  addPlayback(device, *plan);
  addInputClients(device, *plan);
  addMemberInput(device, *plan);
  if (loopsBack)
    plan->steps.push_back([&mix = plan->mix, state = device.state](const AudioTimeStamp&) {
      std::ranges::copy(mix, state->lastMix.begin());
    });
  return plan;
}

void PlanBuilder::addPhysicalInput(SimulatedDevice& device, Plan& plan) {
  if (!graph_.allows(Permission::microphone))
    plan.inputBlock = plan.earlyInputBlock = plan.newBlock(plan.input.size());
  float* stereo = plan.newBlock(std::size_t(2) * plan.frames);
  plan.steps.push_back([&source = device.inputSignal(), stereo, input = plan.input.data(),
                        frames = plan.frames, channels = plan.inputChannels](const AudioTimeStamp&) {
    const std::uint32_t made = source.render(stereo, frames);
    std::fill(stereo + 2 * std::size_t(made), stereo + 2 * std::size_t(frames), 0.0f);
    for (std::uint32_t i = 0; i < frames; ++i)
      for (std::uint32_t channel = 0; channel < channels; ++channel)
        input[std::size_t(i) * channels + channel] = stereo[2 * std::size_t(i) + channel % 2];
  });
}

void PlanBuilder::addHostedAggregate(SimulatedAggregate& aggregate, SimulatedDevice& host, Plan& hostPlan) {
  std::shared_ptr<Plan> plan = newPlan(aggregate);
  if (plan->inputChannels > 0 && graph_.hasInputClients(aggregate.id))
    addAggregateInput(aggregate, host, *plan, hostPlan);
  plan->steps.push_back([&mix = plan->mix](const AudioTimeStamp&) { std::ranges::fill(mix, 0.0f); });
  addPlayback(aggregate, *plan);
  addAggregateOutput(aggregate, host, *plan, hostPlan);
  addInputClients(aggregate, *plan);
  hostPlan.steps.push_back([plan](const AudioTimeStamp& now) { plan->run(now.hostTime); });
}

// Members side by side, then the taps' mix.
void PlanBuilder::addAggregateInput(SimulatedAggregate& aggregate, SimulatedDevice& host, Plan& plan,
                                    const Plan& hostPlan) {
  using Lane = SimulatedAggregate::Lane;
  const std::uint32_t frames = plan.frames, stride = plan.inputChannels;
  std::uint32_t offset = 0;
  for (const AudioDeviceID id : aggregate.members) {
    SimulatedDevice& member = *graph_.device(id);
    const std::uint32_t channels = aggregate.description.has(AudioScope::input) ? member.inputChannels : 0;
    if (channels == 0) continue;
    float* to = plan.input.data() + offset;
    offset += channels;
    if (&member == &host) {
      plan.steps.push_back(
          [from = hostPlan.earlyInputBlock, to, channels, stride, frames](const AudioTimeStamp&) {
            copyChannels(from, channels, to, stride, channels, frames);
          });
      continue;
    }
    const auto lane = bridge(aggregate, Lane::input, id,
                             {channels, member.trueRate(), host.trueRate(), member.bufferFrames, frames,
                              aggregate.corrects(member.uid)});
    float* block = plan.newBlock(std::size_t(frames) * channels);
    plan.steps.push_back([lane, block, to, channels, stride, frames](const AudioTimeStamp&) {
      lane->read(block, frames);
      copyChannels(block, channels, to, stride, channels, frames);
    });
  }
  if (!aggregate.hasTaps()) return;
  float* to = plan.input.data() + offset;
  float* block = plan.newBlock(std::size_t(2) * frames);
  plan.steps.push_back([&aggregate, block, to, stride, frames](const AudioTimeStamp&) {
    for (std::uint32_t i = 0; i < frames; ++i)
      to[std::size_t(i) * stride] = to[std::size_t(i) * stride + 1] = 0;
    for (const auto& [key, lane] : aggregate.bridges) {
      if (key.first != Lane::tap) continue;
      lane->read(block, frames);
      addChannels(block, 2, to, stride, 2, frames);
    }
  });
}

void PlanBuilder::addAggregateOutput(SimulatedAggregate& aggregate, SimulatedDevice& host, Plan& plan,
                                     Plan& hostPlan) {
  const std::uint32_t frames = plan.frames, stride = plan.outputChannels;
  if (stride == 0) return;
  std::uint32_t offset = 0;
  for (const AudioDeviceID id : aggregate.members) {
    SimulatedDevice& member = *graph_.device(id);
    const std::uint32_t channels = member.outputChannels;
    const float* from = plan.mix.data() + offset;
    if (!aggregate.description.isStacked) offset += channels;
    if (channels == 0) continue;
    if (&member == &host) {
      plan.steps.push_back([from, stride, to = hostPlan.mix.data(), channels, frames](const AudioTimeStamp&) {
        addChannels(from, stride, to, channels, channels, frames);
      });
      continue;
    }
    const auto lane = bridge(aggregate, SimulatedAggregate::Lane::output, id,
                             {channels, host.trueRate(), member.trueRate(), frames, member.bufferFrames,
                              aggregate.corrects(member.uid)});
    float* block = plan.newBlock(std::size_t(frames) * channels);
    plan.steps.push_back([lane, block, from, stride, channels, frames](const AudioTimeStamp&) {
      copyChannels(from, stride, block, channels, channels, frames);
      lane->write(block, frames);
    });
  }
}

// What aggregates that run on another clock play on this device.
void PlanBuilder::addMemberOutput(SimulatedDevice& member, Plan& plan) {
  if (member.outputChannels == 0) return;
  for (const auto& [id, aggregate] : graph_.aggregates) {
    const auto& members = aggregate->members;
    if (!aggregate->hasMembers() || aggregate->clock == member.id || !isActive(*aggregate)) continue;
    if (std::ranges::find(members, member.id) == members.end()) continue;
    const SimulatedDevice& host = *graph_.device(aggregate->clock);
    const auto lane = bridge(*aggregate, SimulatedAggregate::Lane::output, member.id,
                             {member.outputChannels, host.trueRate(), member.trueRate(),
                              aggregate->bufferFrames, plan.frames, aggregate->corrects(member.uid)});
    float* block = plan.newBlock(plan.mix.size());
    plan.steps.push_back([lane, block, &mix = plan.mix, frames = plan.frames](const AudioTimeStamp&) {
      lane->read(block, frames);
      for (std::size_t i = 0; i < mix.size(); ++i) mix[i] += block[i];
    });
  }
}

void PlanBuilder::addMemberInput(SimulatedDevice& member, Plan& plan) {
  if (member.inputChannels == 0) return;
  for (const auto& [id, aggregate] : graph_.aggregates) {
    const auto& members = aggregate->members;
    if (!aggregate->hasMembers() || aggregate->clock == member.id || !graph_.hasInputClients(id)) continue;
    if (std::ranges::find(members, member.id) == members.end()) continue;
    const SimulatedDevice& host = *graph_.device(aggregate->clock);
    const auto lane = bridge(*aggregate, SimulatedAggregate::Lane::input, member.id,
                             {member.inputChannels, member.trueRate(), host.trueRate(), plan.frames,
                              aggregate->bufferFrames, aggregate->corrects(member.uid)});
    plan.steps.push_back([lane, from = plan.inputBlock, frames = plan.frames](const AudioTimeStamp&) {
      lane->write(from, frames);
    });
  }
}

}  // namespace sonmere
