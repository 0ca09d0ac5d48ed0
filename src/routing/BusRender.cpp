#include "routing/BusRender.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/RealtimeScope.h"
#include "dsp/VectorMath.h"

namespace sonmere {

namespace {

// A trim keeps one block and this many samples.
constexpr std::int64_t kTrimReserveSamples = 256;
// A mic send farther behind than half its ring jumps to one block behind the writer.
constexpr std::int64_t kMicSendLimitBytes = MicSend::kRingBytes / 2;
constexpr double kSameRateHz = 1.0;

void dropAllBut(SingleAppTap& tap, std::int64_t keep) noexcept {
  const std::int64_t writePos = tap.writePos.loadAcquire();
  const std::int64_t available = ringAvailable<kTapRingSamples>(writePos, tap.readPos.loadRelaxed());
  if (available <= keep) return;
  tap.readPos.storeRelease((writePos - keep + kTapRingSamples) % kTapRingSamples);
  tap.ledger.skipped.add(available - keep);
}

// Drops the backlog down to one block and a reserve, when asked to; to one block for a tap that is read for
// the first time since it was made.
void trimIfAsked(SingleAppTap& tap, std::int64_t n) noexcept {
  if (tap.startLive && tap.startLive.exchange(false)) dropAllBut(tap, n);
  if (tap.trimKeepSamples < 0 || tap.trimKeepSamples.exchange(-1) < 0) return;
  dropAllBut(tap, n + kTrimReserveSamples);
}

// Takes n samples from the tap's ring; false when it holds too little, which leaves the ring alone.
bool pull(SingleAppTap& tap, float* scratch, std::int64_t n) noexcept {
  const std::int64_t readPos = tap.readPos.loadRelaxed();
  const std::int64_t left = ringAvailable<kTapRingSamples>(tap.writePos.loadAcquire(), readPos) - n;
  if (left < 0) {
    tap.ringProbe.noteMiss();
    return false;
  }
  ringCopyOut<kTapRingSamples>(tap.ringBuffer(), readPos, scratch, n);
  tap.readPos.storeRelease((readPos + n) % kTapRingSamples);
  tap.ringProbe.noteRead(n, left);
  tap.ledger.read.add(n);
  return true;
}

void runPlugins(const PluginChainSnapshot* chain, float* buffer, std::int64_t n) noexcept {
  if (chain && !chain->plugins.empty()) chain->render(buffer, std::uint32_t(n / 2));
}

// A boosted app is held to full scale, or below it by its own ceiling.
float tapCeiling(const SingleAppTap& tap, float volume) noexcept {
  const float ceiling = tap.limiterCeiling;
  if (volume <= 1.0f) return ceiling;
  return tap.limiterEnabled ? std::min(1.0f, ceiling) : 1.0f;
}

// The monitor hears the app before its volume; what the boost already did is taken back.
void feedTapMonitor(SingleAppTap& tap, const RenderFlags& flags, float volume, const float* scratch,
                    std::int64_t n) noexcept {
  if (!tap.monitorEnabled) return;
  float* ring = tap.monitorBuffer.load();
  if (!ring) return;
  float gain = flags.monitorsFollowVolume ? volume : tap.monitorVolume.load();
  if (volume > 1.0f) gain /= volume;
  (void)tap.monitorReadPos.loadAcquire();  // orders the reader's copies before these writes
  std::int64_t at = tap.monitorWritePos.loadRelaxed();
  for (std::int64_t i = 0; i < n; ++i) {
    ring[at] = scratch[i] * gain;
    at = at + 1 == kTapRingSamples ? 0 : at + 1;
  }
  tap.monitorWritePos.storeRelease(at);
}

void mixTap(SingleAppTap& tap, OutputAUContext& context, float* out, std::int64_t n) noexcept {
  const RenderClaim::Hold hold(tap.claim);
  if (!hold) return;
  float* scratch = context.scratch.data();
  const BusRenderState& state = *context.state;
  trimIfAsked(tap, n);
  if (!pull(tap, scratch, n)) return;
  runPlugins(tap.pluginChain.load(), scratch, n);
  RenderSteps::equalise(tap, scratch, n);
  const float volume = tap.volume;
  RenderSteps::boost(volume, scratch, n);
  RenderSteps::limitTap(tap, volume, tapCeiling(tap, volume), scratch, n);
  feedTapMonitor(tap, state.flags, volume, scratch, n);
  addScaled(out, scratch, std::min(volume, 1.0f), std::size_t(n));
}

// Adds the microphone, only when it was captured at this unit's rate.
void addMicSend(OutputAUContext& context, float gain, float* out, std::int64_t n) noexcept {
  MicSend& send = context.state->micSend;
  if (!(gain > MicSend::kAudibleGain) || !send.active) return;
  if (!(std::abs(send.captureRate - context.sampleRate) < kSameRateHz)) return;
  auto& cursor = send.readPositions[std::size_t(context.busIndex)];
  const std::int64_t blockBytes = 4 * n;
  const std::int64_t writePos = send.writePos.loadAcquire();
  std::int64_t readPos = cursor;
  const auto fill = [&] { return (writePos - readPos + MicSend::kRingBytes) % MicSend::kRingBytes; };
  if (fill() > kMicSendLimitBytes)
    readPos = (writePos - blockBytes + MicSend::kRingBytes) % MicSend::kRingBytes;
  if (fill() >= blockBytes) {
    std::int64_t at = readPos / 4;
    for (std::int64_t i = 0; i < n; ++i) {
      out[i] += send.ring[std::size_t(at)] * gain;
      at = at + 1 == kMicRingSamples ? 0 : at + 1;
    }
    readPos = (readPos + blockBytes) % MicSend::kRingBytes;
  }
  cursor = readPos;
}

void equaliseMaster(BusMaster& master, float* out, std::int64_t n) noexcept {
  if (const EQCoefficients* coefficients = master.eqCoefficients.load())
    RenderSteps::equalise(master.eqEnabled, *coefficients, master.eqDelays, out, n);
}

void limitMaster(BusMaster& master, float* out, std::int64_t n) noexcept {
  if (!master.limiterEnabled) return;
  master.limiterGain =
      RenderSteps::limitOutput(out, n, master.limiterCeiling, master.limiterGain, kBusQuietThreshold);
}

// Recordings hold the signal after the master chain, in whole frames.
void feedRecorder(BusMaster& master, const float* out, std::int64_t n) noexcept {
  const std::int64_t whole = n & 0x3FFE;
  if (RecorderRing* ring = master.recorder.load(); ring && whole != 0) ring->write(out, whole);
}

void feedMasterMonitor(BusMaster& master, bool masterRecordActive, const float* out,
                       std::int64_t n) noexcept {
  if (!master.monitorEnabled && !masterRecordActive) return;
  float* ring = master.monitorBuffer.load();
  if (!ring) return;
  (void)master.masterRecordReadPos.loadAcquire();  // the ring's second reader
  ringWrite<kTapRingSamples>(ring, master.monitorWritePos, master.monitorReadPos, out, n);
}

// Renders one buffer, which is all zero.
void renderBuffer(OutputAUContext& context, const BusTapLists* lists, std::uint32_t frames,
                  AudioBuffer& buffer) noexcept {
  BusRenderState& state = *context.state;
  const std::int64_t n = std::min<std::int64_t>(buffer.byteSize / 4, 2 * std::int64_t(frames));
  float* out = buffer.data;
  if (!isBus(context.busIndex)) return;
  const auto bus = std::size_t(context.busIndex);
  const float sendGain = state.micSend.gains[bus];
  const bool hasTaps = lists && !lists->buses[bus].empty();
  if ((!hasTaps && !(sendGain > MicSend::kAudibleGain)) || n > kRenderScratchSamples) return;

  BusMaster& master = state.masters[bus];
  const RenderClaim::Hold hold(master.claim);
  if (!hold) return;
  if (lists)
    for (const auto& tap : lists->buses[bus]) mixTap(*tap, context, out, n);
  addMicSend(context, sendGain, out, n);
  runPlugins(master.pluginChain.load(), out, n);
  equaliseMaster(master, out, n);
  limitMaster(master, out, n);
  feedRecorder(master, out, n);
  feedMasterMonitor(master, state.masterRecordActive, out, n);
  if (state.flags.spectrumWanted()) master.spectrum.feed(out, n);
}

}  // namespace

OSStatus renderBus(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                   AudioBufferList buffers) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  auto& context = *static_cast<OutputAUContext*>(refcon);
  if (!context.state->engineAlive) return noErr;
  const RenderReader::Block block(*context.reader);
  const bool isRetired = context.retired;
  if (!isRetired) context.lastRenderHostTime = time.hostTime;
  const BusTapLists* lists = context.state->activeTapsByBus.load();
  for (AudioBuffer& buffer : buffers) {
    if (!buffer.data) break;
    std::memset(buffer.data, 0, buffer.byteSize);
    if (!isRetired) renderBuffer(context, lists, frames, buffer);
  }
  return noErr;
}

}  // namespace sonmere
