#include "input/MicBridgeOutput.h"

#include <algorithm>
#include <cstring>

#include "audio/device/AudioBuffers.h"

namespace sonmere {

namespace {

constexpr std::int64_t kFrameBytes = 8;
constexpr std::int64_t kTrimReserve = 2048;  // bytes
constexpr std::int64_t kLeastTrim = 256;     // bytes
constexpr std::int64_t kJumpBase = 32768;    // bytes
constexpr std::int64_t kLargestJumpRoom = 16384;
constexpr std::int64_t kJumpReserve = 4096;

struct Trim {
  std::int64_t jump = 0;  // bytes skipped before the copy
  std::int64_t step = 0;  // bytes skipped after it
};

constexpr std::int64_t wholeFrames(std::int64_t bytes) noexcept { return bytes - bytes % kFrameBytes; }

Trim trimFor(std::int64_t excess, std::int64_t size, std::int64_t lastInput,
             std::int64_t stepLimit) noexcept {
  const std::int64_t blocks = size + kFrameBytes * lastInput;
  const std::int64_t target = blocks + kTrimReserve;
  const std::int64_t limit = kJumpBase + std::min(2 * blocks + kJumpReserve, kLargestJumpRoom);
  if (excess > limit && target < limit) return {wholeFrames(excess - target), 0};
  return {0, wholeFrames(std::clamp<std::int64_t>(excess - target, 0, stepLimit))};
}

void copyOut(const MicSend& send, std::int64_t at, void* target, std::int64_t bytes) noexcept {
  const std::int64_t head = std::min(bytes, MicSend::kRingBytes - at);
  const auto* ring = reinterpret_cast<const std::byte*>(send.ring.data());
  std::memcpy(target, ring + at, std::size_t(head));
  std::memcpy(static_cast<std::byte*>(target) + head, ring, std::size_t(bytes - head));
}

// One output block against what the ring held at its begin.
struct Reading {
  MicRenderState& state;
  std::int64_t frames;
  std::int64_t want;   // bytes
  std::int64_t avail;  // bytes
  bool isWriterAlive;  // it wrote since the last block

  void fill(AudioBuffer& buffer) noexcept {
    const std::int64_t size = std::min<std::int64_t>(buffer.byteSize, want);
    avail < size ? miss(buffer) : take(buffer, size);
  }

 private:
  void miss(AudioBuffer& buffer) noexcept {
    std::memset(buffer.data, 0, buffer.byteSize);
    MicCounters& counters = state.counters;
    if (counters.reads > 0) (isWriterAlive ? counters.underruns : counters.starves).add(1);
  }

  void take(AudioBuffer& buffer, std::int64_t size) noexcept {
    const Trim trim = state.isConverted ? trimFor(avail - want, size, state.counters.lastFrames,
                                                  std::max<std::int64_t>(frames, kLeastTrim))
                                        : Trim{};
    const std::int64_t from = (state.bridgeReadPos.loadRelaxed() + trim.jump) % MicSend::kRingBytes;
    avail -= trim.jump;
    copyOut(state.micSend, from, buffer.data, size);
    state.bridgeReadPos.storeRelease((from + want + trim.step) % MicSend::kRingBytes);
    note(trim);
  }

  void note(const Trim& trim) noexcept {
    MicCounters& counters = state.counters;
    counters.skippedBytes.add(trim.jump + trim.step);
    counters.reads.add(1);
    counters.backlogBytes = std::max<std::int64_t>(avail - want, 0);
    counters.peakBacklogBytes.raiseTo(counters.backlogBytes);
  }
};

}  // namespace

OSStatus micBridgeCallback(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                           AudioBufferList buffers) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  MicBridgeContext& context = RenderContext::of<MicBridgeContext>(refcon);
  const RenderReader::Block inside(*context.gate.reader);
  if (!context.gate.isOpen()) {
    silence(buffers);
    return noErr;
  }
  context.beginCycle(time, frames);
  MicRenderState& state = *context.state;
  MicCounters& counters = state.counters;
  counters.outputRenders.add(1);
  const std::int64_t want = std::int64_t(frames) * kFrameBytes;
  const std::int64_t writePos = state.micSend.writePos.loadAcquire();
  const std::int64_t writes = counters.writeCount;
  Reading reading{state, frames, want,
                  (writePos - state.bridgeReadPos.loadRelaxed() + MicSend::kRingBytes) % MicSend::kRingBytes,
                  writes != counters.lastSeenWriteCount};
  counters.lastSeenWriteCount = writes;
  counters.lastReadBytes = want;
  for (AudioBuffer& buffer : buffers)
    if (buffer.data) reading.fill(buffer);
  return noErr;
}

}  // namespace sonmere
