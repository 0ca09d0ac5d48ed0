// The steps that devices and aggregates share: programs, taps, clients, recorders.

#include <algorithm>
#include <cstring>

#include "base/RealtimeScope.h"
#include "platform/simulated/PlanBuilder.h"

namespace sonmere {

namespace {

void addStereo(const float* stereo, float* mix, std::uint32_t channels, std::uint32_t frames) {
  if (channels == 2) {
    for (std::size_t i = 0; i < 2 * std::size_t(frames); ++i) mix[i] += stereo[i];
  } else if (channels == 1) {
    for (std::size_t i = 0; i < frames; ++i) mix[i] += 0.5f * (stereo[2 * i] + stereo[2 * i + 1]);
  } else {
    for (std::size_t i = 0; i < frames; ++i) {
      mix[i * channels] += stereo[2 * i];
      mix[i * channels + 1] += stereo[2 * i + 1];
    }
  }
}

// The stereo view of a block of any channel count.
void takeStereo(const float* mix, std::uint32_t channels, float* stereo, std::uint32_t frames) {
  for (std::size_t i = 0; i < frames; ++i) {
    stereo[2 * i] = mix[i * channels];
    stereo[2 * i + 1] = mix[i * channels + (channels > 1 ? 1 : 0)];
  }
}

}  // namespace

void PlanBuilder::addPlayback(SimulatedEndpoint& endpoint, Plan& plan) {
  const std::vector<Voice> voices = addVoices(endpoint, plan);
  addTaps(endpoint, plan, voices);
  if (plan.outputChannels > 0)
    for (const Voice& voice : voices)
      if (!voice.process->isOwn && !graph_.isSilenced(*voice.process))
        plan.steps.push_back(
            [block = voice.block, mix = plan.mix.data(), channels = plan.outputChannels,
             frames = plan.frames](const AudioTimeStamp&) { addStereo(block, mix, channels, frames); });
  addRenderers(endpoint, plan);
  addRecorders(endpoint, plan, false);
}

std::vector<PlanBuilder::Voice> PlanBuilder::addVoices(SimulatedEndpoint& endpoint, Plan& plan) {
  std::vector<Voice> voices;
  for (const auto& [pid, process] : graph_.processes) {
    if (process->isOwn || !process->isPlaying || process->standsStill || process->device != endpoint.id)
      continue;
    float* block = plan.newBlock(std::size_t(2) * plan.frames);
    process->voice->setSampleRate(plan.sampleRate);
    plan.steps.push_back([voice = process->voice, block, frames = plan.frames](const AudioTimeStamp&) {
      voice->render(block, frames);
    });
    voices.push_back({process.get(), block});
  }
  // This program's own sound reaches a tap one block late: it is rendered after the taps are served.
  if (ownIsTapped_ && graph_.hasOutputClients(endpoint.id))
    voices.push_back({own_, endpoint.state->ownBlock.data()});
  return voices;
}

void PlanBuilder::addTaps(SimulatedEndpoint& endpoint, Plan& plan, const std::vector<Voice>& voices) {
  for (const auto& [id, aggregate] : graph_.aggregates) {
    if (!graph_.isTapAggregateActive(*aggregate)) continue;
    const float* sum = addTapSum(*aggregate, plan, voices);
    if (!aggregate->hasMembers() && aggregate->clock == endpoint.id) {
      addTapAggregate(*aggregate, endpoint, plan, sum);
      continue;
    }
    const SimulatedEndpoint* clock = graph_.endpoint(aggregate->clock);
    if (!sum || !clock) continue;
    const std::uint32_t targetFrames =
        aggregate->hasMembers() ? aggregate->bufferFrames : clock->bufferFrames;
    const auto lane = bridge(*aggregate, SimulatedAggregate::Lane::tap, endpoint.id,
                             {2, trueRate(endpoint), trueRate(*clock), plan.frames, targetFrames, true});
    plan.steps.push_back(
        [lane, sum, frames = plan.frames](const AudioTimeStamp&) { lane->write(sum, frames); });
  }
}

const float* PlanBuilder::addTapSum(const SimulatedAggregate& aggregate, Plan& plan,
                                    const std::vector<Voice>& voices) {
  std::vector<const float*> parts;
  for (const std::string& uid : aggregate.description.tapUIDs)
    if (const SimulatedTap* tap = graph_.tapForUID(uid))
      for (const Voice& voice : voices)
        if (graph_.covers(*tap, *voice.process)) parts.push_back(voice.block);
  if (parts.empty()) return nullptr;
  if (parts.size() == 1) return parts.front();
  float* sum = plan.newBlock(std::size_t(2) * plan.frames);
  plan.steps.push_back([parts, sum, samples = 2 * std::size_t(plan.frames)](const AudioTimeStamp&) {
    std::copy_n(parts.front(), samples, sum);
    for (std::size_t part = 1; part < parts.size(); ++part)
      for (std::size_t i = 0; i < samples; ++i) sum[i] += parts[part][i];
  });
  return sum;
}

bool PlanBuilder::hearsEndpoint(const SimulatedAggregate& aggregate,
                                const SimulatedEndpoint& endpoint) const {
  return std::ranges::any_of(graph_.processes, [&](const auto& entry) {
    const SimulatedProcess& process = *entry.second;
    const bool plays = process.isOwn ? graph_.hasOutputClients(endpoint.id)
                                     : process.isPlaying && process.device == endpoint.id;
    return plays && std::ranges::any_of(aggregate.description.tapUIDs, [&](const std::string& uid) {
             const SimulatedTap* tap = graph_.tapForUID(uid);
             return tap && graph_.covers(*tap, process);
           });
  });
}

// Bridges from all other endpoints on which the aggregate's taps hear something.
std::vector<std::shared_ptr<ClockBridge>> PlanBuilder::tapLanes(SimulatedAggregate& aggregate,
                                                                const SimulatedEndpoint& clock) {
  std::vector<std::shared_ptr<ClockBridge>> lanes;
  const auto add = [&](const SimulatedEndpoint& other) {
    if (other.id == clock.id || !hearsEndpoint(aggregate, other)) return;
    lanes.push_back(
        bridge(aggregate, SimulatedAggregate::Lane::tap, other.id,
               {2, trueRate(other), trueRate(clock), other.bufferFrames, clock.bufferFrames, true}));
  };
  for (const auto& [id, device] : graph_.devices) add(*device);
  for (const auto& [id, other] : graph_.aggregates)
    if (other->hasMembers()) add(*other);
  return lanes;
}

// The clock's own block of the taps' sound, joined by what comes from other clocks.
const float* PlanBuilder::addTapMix(Plan& plan, const float* direct,
                                    const std::vector<std::shared_ptr<ClockBridge>>& lanes) {
  if (direct && lanes.empty()) return direct;
  const std::size_t samples = 2 * std::size_t(plan.frames);
  float* mix = plan.newBlock(samples);
  float* block = plan.newBlock(samples);
  plan.steps.push_back([direct, mix, block, lanes, samples, frames = plan.frames](const AudioTimeStamp&) {
    if (direct)
      std::copy_n(direct, samples, mix);
    else
      std::fill_n(mix, samples, 0.0f);
    for (const auto& lane : lanes) {
      lane->read(block, frames);
      for (std::size_t i = 0; i < samples; ++i) mix[i] += block[i];
    }
  });
  return mix;
}

// Runs the aggregate's own cycle inside its clock's: the same blocks when rate and size agree, else blocks of
// its own as they come about.
void PlanBuilder::addTapAggregate(SimulatedAggregate& aggregate, SimulatedEndpoint& clock, Plan& plan,
                                  const float* direct) {
  const float* source = addTapMix(plan, direct, tapLanes(aggregate, clock));
  std::shared_ptr<Plan> nested = newPlan(aggregate);
  const bool sameBlocks =
      aggregate.sampleRate == clock.sampleRate && aggregate.bufferFrames == clock.bufferFrames;
  if (sameBlocks) nested->inputBlock = nested->earlyInputBlock = nested->othersInputBlock = source;
  addRenderers(aggregate, *nested);
  addInputClients(aggregate, *nested);
  if (!sameBlocks) return addReblocking(aggregate, clock, plan, nested, source);
  aggregate.reblocker.reset();
  plan.steps.push_back([nested](const AudioTimeStamp& now) { nested->run(now.hostTime); });
}

void PlanBuilder::addReblocking(SimulatedAggregate& aggregate, const SimulatedEndpoint& clock, Plan& plan,
                                const std::shared_ptr<Plan>& nested, const float* source) {
  auto& kept = aggregate.reblocker;
  if (!kept || kept->sourceRate != clock.sampleRate || kept->targetRate != aggregate.sampleRate ||
      kept->sourceFrames != plan.frames || kept->targetFrames != nested->frames)
    kept = std::make_shared<Reblocker>(clock.sampleRate, aggregate.sampleRate, plan.frames, nested->frames);
  plan.steps.push_back([kept, nested, source](const AudioTimeStamp& now) {
    kept->push(source);
    while (kept->pop(nested->input.data())) nested->run(now.hostTime);
  });
}

void PlanBuilder::addRenderers(SimulatedEndpoint& endpoint, Plan& plan) {
  float* target = plan.mix.data();
  const bool separate = ownIsTapped_ && plan.outputChannels > 0 && graph_.hasOutputClients(endpoint.id);
  if (separate) {
    target = plan.newBlock(plan.mix.size());
    plan.steps.push_back(
        [target, samples = plan.mix.size()](const AudioTimeStamp&) { std::fill_n(target, samples, 0.0f); });
  }
  std::map<std::uint64_t, EndpointPlan::Step> inOrder;
  for (const auto& [id, procedure] : graph_.ioProcs)
    if (procedure.device == endpoint.id && procedure.isStarted)
      inOrder[procedure.order] = ioProcStep(procedure, plan, target);
  for (const auto& unit : graph_.units) {
    const UnitRenderer::Settings& settings = unit->settings;
    if (settings.device != endpoint.id || !settings.isStarted || !settings.outputEnabled) continue;
    if (plan.outputChannels == 0) continue;
    unit->prepareOutput(plan.frames, {plan.sampleRate, plan.outputChannels});
    inOrder[settings.order] = [unit, target](const AudioTimeStamp& now) {
      unit->renderOutput(target, now.hostTime);
    };
  }
  for (auto& [order, step] : inOrder) plan.steps.push_back(std::move(step));
  if (!separate) return;
  plan.steps.push_back([target, &mix = plan.mix, state = plan.state, isSilenced = ownIsSilenced_,
                        channels = plan.outputChannels, frames = plan.frames](const AudioTimeStamp&) {
    takeStereo(target, channels, state->ownBlock.data(), frames);
    if (!isSilenced)
      for (std::size_t i = 0; i < mix.size(); ++i) mix[i] += target[i];
  });
}

EndpointPlan::Step PlanBuilder::ioProcStep(const SimulatedIOProc& procedure, Plan& plan, float* target) {
  float* output = plan.newBlock(plan.mix.size());
  const auto bytes = [&](std::uint32_t channels) {
    return std::uint32_t(std::size_t(plan.frames) * channels * sizeof(float));
  };
  const AudioBuffer input{plan.inputChannels, bytes(plan.inputChannels),
                          const_cast<float*>(plan.earlyInputBlock)};
  const AudioBuffer played{plan.outputChannels, bytes(plan.outputChannels), output};
  return [call = procedure.procedure, clientData = procedure.clientData, input, played, target,
          samples = plan.mix.size()](const AudioTimeStamp& now) {
    AudioBuffer in = input, out = played;
    std::fill_n(out.data, samples, 0.0f);
    {
      const RealtimeScope scope;
      call(clientData, now, {&in, in.channels > 0 ? 1u : 0u}, {&out, out.channels > 0 ? 1u : 0u});
    }
    for (std::size_t i = 0; i < samples; ++i) target[i] += out.data[i];
  };
}

void PlanBuilder::addInputClients(SimulatedEndpoint& endpoint, Plan& plan) {
  if (plan.inputChannels == 0) return;
  for (const auto& unit : graph_.units) {
    const UnitRenderer::Settings& settings = unit->settings;
    if (settings.device != endpoint.id || !settings.isStarted || !settings.inputEnabled) continue;
    unit->prepareInput(plan.frames, {plan.sampleRate, plan.inputChannels});
    plan.steps.push_back([unit, input = plan.inputBlock](const AudioTimeStamp& now) {
      unit->deliverInput(input, now.hostTime);
    });
  }
  for (const auto& capture : graph_.captures) {
    if (capture->device != endpoint.id || !capture->isStarted || !capture->fifo) continue;
    plan.steps.push_back([fifo = capture->fifo, input = plan.inputBlock, frames = plan.frames](
                             const AudioTimeStamp& now) { fifo->write(input, frames, now.hostTime); });
  }
  addRecorders(endpoint, plan, true);
}

void PlanBuilder::addRecorders(SimulatedEndpoint& endpoint, Plan& plan, bool isInput) {
  const std::uint32_t channels = isInput ? plan.inputChannels : plan.outputChannels;
  if (channels == 0) return;
  for (const auto& weak : graph_.recorders) {
    const auto recorder = weak.lock();
    if (!recorder || recorder->isInput() != isInput || recorder->uid() != endpoint.uid) continue;
    plan.steps.push_back(
        [recorder, block = isInput ? plan.othersInputBlock : plan.mix.data(), channels,
         frames = plan.frames](const AudioTimeStamp&) { recorder->append(block, frames, channels); });
  }
}

}  // namespace sonmere
