#include "routing/BusRender.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

#include "audio/engine/Rates.h"
#include "base/RealtimeScope.h"
#include "dsp/VectorMath.h"

namespace sonmere {

namespace {

// A mic send farther behind than half its ring jumps to one block behind the writer.
constexpr std::int64_t kMicSendLimitBytes = MicSend::kRingBytes / 2;

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
  if (!tap.monitor.isEnabled()) return;
  StereoRing* const ring = tap.monitor.ring();
  if (!ring) return;
  float gain = flags.monitorsFollowVolume ? volume : tap.monitorVolume.load();
  if (volume > 1.0f) gain /= volume;
  ring->writer.write(scratch, n, gain);
}

// Puts the tap's next block, through its plug-ins, into the batch; false when it has none.
bool enter(SingleAppTap& tap, TapBatch& batch, const OutputAUContext& context, std::int64_t n) noexcept {
  StereoRing::Reader& ring = tap.ring.reader();
  ring.startIfAsked(n);
  ring.trimIfAsked(n);
  if (context.isInterrupted) tap.noteInterruption(context.cycles.missedFrames());
  float* block = batch.nextBlock();
  if (!ring.pull(block, n, context.sampleRate)) return false;
  runPlugins(tap.pluginChain.load(), block, n);
  const float volume = tap.volume;
  batch.add(tap, volume, tapCeiling(tap, volume), std::min(volume, 1.0f));
  return true;
}

using TapList = std::vector<std::shared_ptr<SingleAppTap>>;
const TapList kNoTaps;

// Adds up to a batch of taps, from `next` on, to the sum. `sumEqualiser` runs behind the last of all, if
// there is one; returns whether it did.
bool mixBatch(const TapList& taps, std::size_t& next, OutputAUContext& context, float* out, std::int64_t n,
              EqualiserLane* sumEqualiser) noexcept {
  std::array<std::optional<RenderClaim::Hold>, kMaxLanes> holds;
  std::array<SingleAppTap*, kMaxLanes> members;
  TapBatch batch(context.scratch, n);
  std::size_t count = 0;
  for (; next < taps.size() && !batch.isFull(); ++next) {
    SingleAppTap& tap = *taps[next];
    if (!holds[count].emplace(tap.claim)) continue;
    if (enter(tap, batch, context, n)) members[count++] = &tap;
  }
  batch.equaliseAndBoost();
  const bool isLast = next == taps.size();
  batch.limitAndMix(out, isLast ? sumEqualiser : nullptr);
  for (std::size_t i = 0; i < count; ++i)
    feedTapMonitor(*members[i], context.state->flags, batch.volume(i), batch.block(i), n);
  return isLast;
}

// Hands each sample of the microphone to `add` with its place, only when it was captured at this unit's rate.
template <class Add>
void addMicSend(OutputAUContext& context, float gain, std::int64_t n, Add add) noexcept {
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
      add(i, send.ring[std::size_t(at)] * gain);
      at = at + 1 == kMicRingSamples ? 0 : at + 1;
    }
    readPos = (readPos + blockBytes) % MicSend::kRingBytes;
  }
  cursor = readPos;
}

// The taps in their order, then the microphone, the bus's plug-ins and its equaliser. Where nothing stands
// between the taps and the equaliser it runs along with the last of them.
void mixAndEqualise(const TapList& taps, OutputAUContext& context, BusMaster& master, float sendGain,
                    float* out, std::int64_t n) noexcept {
  const EQCoefficients* coefficients = master.eqEnabled ? master.eqCoefficients.load() : nullptr;
  const PluginChainSnapshot* chain = master.pluginChain.load();
  const bool isDirect = !(sendGain > MicSend::kAudibleGain) && (!chain || chain->plugins.empty());
  EqualiserLane equaliser;
  if (coefficients) equaliser = equaliserLane(*coefficients, master.eqDelays);
  bool isEqualised = !coefficients || n < 2;
  for (std::size_t next = 0; next < taps.size();)
    isEqualised |=
        mixBatch(taps, next, context, out, n, isDirect && !isEqualised ? &equaliser : nullptr) && isDirect;
  addMicSend(context, sendGain, n, [out](std::int64_t i, float sample) { out[i] += sample; });
  runPlugins(chain, out, n);
  if (!isEqualised) kernels().equalise(equaliser, out, std::size_t(n / 2));
  if (coefficients) saveDelays(equaliser, master.eqDelays);
}

void limitMaster(BusMaster& master, float* out, std::int64_t n) noexcept {
  if (!master.limiterEnabled) return;
  master.limiterGain =
      RenderSteps::limitOutput(out, n, master.limiterCeiling, master.limiterGain, kBusQuietThreshold);
}

// The sum to the right, and the microphone, in place of it, to the left: both in one channel.
void splitDualMono(OutputAUContext& context, float* out, std::int64_t n) noexcept {
  for (std::int64_t i = 0; i + 1 < n; i += 2) {
    out[i + 1] = 0.5f * (out[i] + out[i + 1]);
    out[i] = 0;
  }
  addMicSend(context, 1.0f, n,
             [out](std::int64_t i, float sample) { out[i & ~std::int64_t(1)] += 0.5f * sample; });
}

// Recordings hold the signal after the master chain, in whole frames.
void feedRecorder(BusMaster& master, const OutputAUContext& context, const float* out,
                  std::int64_t n) noexcept {
  const std::int64_t whole = n & 0x3FFE, missedFrames = context.cycles.missedFrames();
  RecorderRing* const ring = master.recorder.load();
  if (!ring || whole == 0) return;
  if (missedFrames > 0) ring->noteMissed(missedFrames);
  const std::int64_t before =
      2 * ring->start.framesBefore(context.lastRenderHostTime, context.sampleRate, whole / 2);
  if (before < whole) ring->write(out + before, whole - before);
}

void feedMasterMonitor(BusMaster& master, bool masterRecordActive, const float* out,
                       std::int64_t n) noexcept {
  if (!master.monitor.isEnabled() && !masterRecordActive) return;
  if (StereoRing* const ring = master.monitor.ring()) ring->writer.write(out, n);
}

// Renders one buffer, which is all zero.
void renderBuffer(OutputAUContext& context, const BusTapLists* lists, std::uint32_t frames,
                  AudioBuffer& buffer) noexcept {
  BusRenderState& state = *context.state;
  const std::int64_t n = std::min<std::int64_t>(buffer.byteSize / 4, 2 * std::int64_t(frames));
  float* out = buffer.data;
  if (!isBus(context.busIndex)) return;
  const auto bus = std::size_t(context.busIndex);
  const bool isSplit = context.busIndex == kBridgeBus && state.flags.dualMono;
  const float sendGain = isSplit ? 0.0f : state.micSend.gains[bus].load();
  const bool hasTaps = lists && !lists->buses[bus].empty();
  if ((!hasTaps && !isSplit && !(sendGain > MicSend::kAudibleGain)) || n > kRenderScratchSamples) return;

  BusMaster& master = state.masters[bus];
  const RenderClaim::Hold hold(master.claim);
  if (!hold) return;
  mixAndEqualise(hasTaps ? lists->buses[bus] : kNoTaps, context, master, sendGain, out, n);
  limitMaster(master, out, n);
  if (isSplit) splitDualMono(context, out, n);
  feedRecorder(master, context, out, n);
  feedMasterMonitor(master, state.masterRecordActive, out, n);
  if (state.flags.spectrumWanted()) master.spectrum.feed(out, n);
}

}  // namespace

OSStatus renderBus(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                   AudioBufferList buffers) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  auto& context = RenderContext::of<OutputAUContext>(refcon);
  if (!context.state->engineAlive) return noErr;
  const RenderReader::Block block(*context.reader);
  context.beginCycle(time, frames);
  const bool isRetired = context.retired;
  const BusTapLists* lists = context.state->activeTapsByBus.load();
  for (AudioBuffer& buffer : buffers) {
    if (!buffer.data) break;
    std::memset(buffer.data, 0, buffer.byteSize);
    if (!isRetired) renderBuffer(context, lists, frames, buffer);
  }
  return noErr;
}

}  // namespace sonmere
