#include "input/MicCapture.h"

#include <algorithm>
#include <cmath>

#include "dsp/Level.h"
#include "dsp/VectorMath.h"

namespace sonmere {

namespace {

// A block on its way through the steps.
struct MicBlock {
  MicRenderState& state;
  MicCaptureContext& context;
  CapturedFrames captured;
  float* stereo;
  float decay;
  std::uint64_t hostTime;  // ns

  std::int64_t samples() const noexcept { return 2 * captured.frames; }
};

void meterChannels(const MicBlock& block) noexcept {
  const int metered = std::min(block.captured.channels, kMicMeteredChannels);
  for (int channel = 0; channel < metered; ++channel) {
    RTScalar<float>& level = block.state.channelLevels[std::size_t(channel)];
    float peak = level * block.decay;
    for (std::int64_t i = 0; i < block.captured.frames; ++i)
      peak = std::max(peak, std::abs(block.captured.samples[i * block.captured.channels + channel]));
    level = peak;
  }
}

InputChannelMode effectiveMode(MicBlock& block) noexcept {
  const auto mode = InputChannelMode(block.state.mode.load());
  if (mode != InputChannelMode::automatic) return mode;
  block.state.autoChoice.follow(block.captured, block.decay);
  return block.state.autoChoice.choice;
}

void fillStereo(MicBlock& block) noexcept {
  if (block.captured.channels == 1) return mapChannels(block.captured, {0, 0}, block.stereo);
  const InputChannelMode mode = effectiveMode(block);
  const ChannelPair custom{block.state.customLeft, block.state.customRight};
  const ChannelPair pair = channelPair(mode, custom, block.captured.channels);
  if (mode == block.state.lastMode) return mapChannels(block.captured, pair, block.stereo);
  crossfadeChannels(block.captured, channelPair(block.state.lastMode, custom, block.captured.channels), pair,
                    block.stereo);
  block.state.lastMode = mode;
}

void addExtraSources(MicBlock& block) noexcept {
  const ExtraSources* sources = block.state.extraSources.load();
  if (!sources || sources->empty() || block.captured.channels < 2) return;
  mixExtraSources(*sources, block.state.extraSlots, block.captured,
                  {block.context.sampleRate, block.hostTime}, block.decay, block.context.mono.data(),
                  block.stereo);
}

float levelOf(const MicBlock& block) noexcept {
  const std::int64_t n = block.samples();
  return n == 0 ? 0.0f : meterLevel(std::sqrt(sumOfSquares(block.stereo, std::size_t(n)) / float(n)));
}

void runEffects(MicBlock& block) noexcept {
  MicRenderState& state = block.state;
  if (const PluginChainSnapshot* chain = state.pluginChain.load(); chain && !chain->plugins.empty())
    chain->render(block.stereo, std::uint32_t(block.captured.frames));
  if (state.eqEnabled)
    applyEqualiser(state.eqCoefficients, state.eqDelays, std::size_t(block.captured.frames), block.stereo);
  if (state.limiterEnabled)
    state.limiterGain = limit({block.stereo, std::size_t(block.samples())}, state.limiterCeiling,
                              state.limiterGain, {state.limiterAttack, state.limiterRelease});
}

// Before the volume: the user's own ear does not follow that slider.
void feedMonitor(MicBlock& block) noexcept {
  StereoRing* const ring = block.state.monitor.isEnabled() ? block.state.monitor.ring() : nullptr;
  if (ring) ring->writer.write(block.stereo, block.samples(), block.state.monitorVolume);
}

void applyVolume(MicBlock& block) noexcept {
  const float volume = block.state.micVolume;
  if (volume == 1.0f) return;
  scale(block.stereo, volume, std::size_t(block.samples()));
  if (volume > 1.0f) clipToFullScale(block.stereo, block.samples());
}

// What others are sent, and no more: behind the volume.
void feedRecorder(MicBlock& block) noexcept {
  RecorderRing* const ring = block.state.recorder.load();
  if (!ring) return;
  ring->noteRate(block.context.sampleRate);
  const std::int64_t frames = block.captured.frames;
  const std::int64_t before = ring->start.framesBefore(block.hostTime, block.context.sampleRate, frames);
  ring->writeStereo(block.stereo + 2 * before, frames - before);
}

// Of a block longer than the ring its first part is written.
void writeRing(MicBlock& block) noexcept {
  MicSend& send = block.state.micSend;
  MicCounters& counters = block.state.counters;
  const std::int64_t n = std::min<std::int64_t>(block.captured.frames * 8, MicSend::kRingBytes);
  const std::int64_t at = send.writePos.loadRelaxed();
  const std::int64_t used =
      (at - block.state.bridgeReadPos.loadAcquire() + MicSend::kRingBytes) % MicSend::kRingBytes;
  if (used + n >= MicSend::kRingBytes) counters.overflows.add(1);
  counters.writeCount.add(1);
  counters.lastWriteBytes = n;
  ringCopyIn<kMicRingSamples>(send.ring.data(), at / 4, block.stereo, n / 4);
  counters.lastWriteHostTime = block.hostTime;  // of what the next line tells
  send.writePos.storeRelease((at + n) % MicSend::kRingBytes);
}

void process(MicBlock& block) noexcept {
  meterChannels(block);
  fillStereo(block);
  addExtraSources(block);
  block.state.preLevel = levelOf(block);
  block.state.peakHold.raiseTo(block.state.preLevel);
  runEffects(block);
  feedMonitor(block);
  applyVolume(block);
  block.state.postLevel = levelOf(block);
  feedRecorder(block);
  writeRing(block);
}

void noteCallback(MicCounters& counters, std::uint32_t bus, std::uint32_t frames) noexcept {
  counters.inputCallbacks.add(1);
  if (counters.firstBus == MicCounters::kNoBus) {
    counters.firstBus = bus;
    counters.firstFrames = frames;
  }
  counters.lastFrames = frames;
}

}  // namespace

MicCaptureContext::MicCaptureContext(std::shared_ptr<MicRenderState> itsState, int itsChannels,
                                     double itsRate)
    : InputContext(itsRate),
      state(std::move(itsState)),
      channels(itsChannels),
      captured(std::size_t(itsChannels) * kMicLongestBlock),
      stereo(2 * std::size_t(kMicLongestBlock)),
      mono(std::size_t(kExtraScratchFrames)) {}

OSStatus micInputCallback(void* refcon, const AudioTimeStamp& time, std::uint32_t bus,
                          std::uint32_t frames) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  auto& context = RenderContext::of<MicCaptureContext>(refcon);
  const RenderReader::Block inside(*context.gate.reader);
  if (!context.gate.isOpen()) return noErr;
  MicRenderState& state = *context.state;
  noteCallback(state.counters, bus, frames);
  if (frames > kMicLongestBlock) {
    state.counters.oversizeBlocks.add(1);
    return noErr;
  }
  AudioBuffer buffer{std::uint32_t(context.channels), std::uint32_t(context.channels) * frames * 4,
                     context.captured.data()};
  if (const OSStatus status = context.unit->render(time, frames, {&buffer, 1}); status != noErr) {
    state.counters.lastRenderError = status;
    return status;
  }
  state.counters.goodRenders.add(1);
  MicBlock block{state,
                 context,
                 {context.captured.data(), context.channels, frames},
                 context.stereo.data(),
                 meterDecay(frames, context.sampleRate),
                 time.hostTime};
  process(block);
  return noErr;
}

}  // namespace sonmere
