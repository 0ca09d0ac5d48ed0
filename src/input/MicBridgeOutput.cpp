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
  MicClockFollower& follower;
  std::int64_t frames;
  std::int64_t want;     // bytes
  std::int64_t avail;    // bytes
  double elapsedFrames;  // since the capture's last block
  bool isWriterAlive;    // it wrote since the last block

  void fill(AudioBuffer& buffer) noexcept {
    const std::int64_t size = std::min<std::int64_t>(buffer.byteSize, want);
    if (avail < size || !mayBegin()) return miss(buffer);
    if (!state.isConverted) follower.observe(cycle());
    follower.isFollowing() ? follow(buffer, size) : take(buffer, size);
  }

 private:
  MicClockFollower::Cycle cycle() const noexcept {
    return {avail / kFrameBytes, elapsedFrames, frames, state.counters.lastWriteBytes / kFrameBytes};
  }

  bool mayBegin() noexcept {
    if (state.counters.reads > 0 || state.isConverted) return true;
    if (!follower.mayBegin(cycle())) return false;
    const std::int64_t surplus = follower.surplusAtBegin(cycle()) * kFrameBytes;
    advance(surplus);
    avail -= surplus;
    return true;
  }

  void advance(std::int64_t bytes) noexcept {
    state.bridgeReadPos.storeRelease((state.bridgeReadPos.loadRelaxed() + bytes) % MicSend::kRingBytes);
  }

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
    advance(trim.jump + want + trim.step);
    state.counters.skippedBytes.add(trim.jump + trim.step);
    note(want);
  }

  void follow(AudioBuffer& buffer, std::int64_t size) noexcept {
    MicClockFollower::Cycle now = cycle();
    now.frames = size / kFrameBytes;
    const std::int64_t taken =
        follower.play(state.micSend, state.bridgeReadPos.loadRelaxed() / kFrameBytes, now, buffer.data);
    if (taken == 0) return miss(buffer);
    advance(taken * kFrameBytes);
    state.counters.driftPpm = follower.driftPpm();
    note(taken * kFrameBytes);
  }

  void note(std::int64_t taken) noexcept {
    MicCounters& counters = state.counters;
    counters.reads.add(1);
    counters.backlogBytes = std::max<std::int64_t>(avail - taken, 0);
    counters.peakBacklogBytes.raiseTo(counters.backlogBytes);
  }
};

// The same clock counts both; a block that came meanwhile is of this moment.
double framesBetween(std::uint64_t before, std::uint64_t now, double sampleRate) noexcept {
  return now > before ? double(now - before) * sampleRate * 1e-9 : 0.0;
}

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
  const double elapsed = framesBetween(counters.lastWriteHostTime, time.hostTime, context.sampleRate);
  Reading reading{state,
                  context.follower,
                  frames,
                  want,
                  (writePos - state.bridgeReadPos.loadRelaxed() + MicSend::kRingBytes) % MicSend::kRingBytes,
                  elapsed,
                  writes != counters.lastSeenWriteCount};
  counters.lastSeenWriteCount = writes;
  counters.lastReadBytes = want;
  for (AudioBuffer& buffer : buffers)
    if (buffer.data) reading.fill(buffer);
  return noErr;
}

}  // namespace sonmere
