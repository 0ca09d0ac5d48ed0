#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "audio/device/AudioHardware.h"
#include "audio/engine/TapAggregate.h"
#include "base/RTScalar.h"
#include "base/RenderClaim.h"
#include "dsp/ClockGaps.h"
#include "dsp/RenderFlags.h"
#include "dsp/SpectrumRing.h"
#include "dsp/StereoRing.h"
#include "dsp/TapEffects.h"

namespace sonmere {

// One app that is captured: a process tap on all its processes, whose I/O procedure writes into a ring that a
// render drains. Shared: lives until the last published list that holds it is gone. Volume, mute and effects
// change at any time from the main thread.
struct CaptureTap : TapEffects {
  // `spectrumFlags`: the procedure feeds the spectrum when they ask for it; without, whoever renders does.
  CaptureTap(std::string familyKey, std::vector<AudioObjectID> processes,
             const RenderFlags* spectrumFlags = nullptr)
      : bundleID(std::move(familyKey)), audioObjectIDs(std::move(processes)), spectrumOf(spectrumFlags) {}

  // Main thread.
  const std::string bundleID;
  const std::vector<AudioObjectID> audioObjectIDs;  // never empty
  TapAggregate objects;

  // Main thread writes, callbacks read. When unmuting, a live start is asked for first.
  RTScalar<bool> isMuted{false};
  RTScalar<bool> levelFollowsVolume{true};

  // I/O procedure.
  const RenderFlags* const spectrumOf;
  RTScalar<float> level{0.0f};            // 0 to 1; 0 while muted
  RTScalar<std::uint64_t> levelStamp{0};  // ns on the server's host clock
  RTScalar<std::int64_t> callbackCount{0};
  ClockGaps gaps;

  // Whoever renders it.
  RTScalar<std::int64_t> unrenderedFrames{0};  // of cycles that its unit was not given
  void noteInterruption(std::int64_t missedFrames) noexcept SONMERE_NONBLOCKING {
    ring.reader().noteInterruption();
    unrenderedFrames.add(missedFrames);
  }

  // Frames on the app's way that the server left out; a cycle that both sides were not given counts once.
  // Threads: any.
  std::int64_t leftOutFrames() const { return std::max(gaps.frames(), unrenderedFrames.load()); }

  SpectrumRing spectrum;
  StereoRing ring;
  RenderClaim claim;  // of whoever renders it
};

// Client data: the CaptureTap, which outlives every call. Meters a block of captured audio and writes it into
// the tap's ring. A muted tap writes nothing, so its ring drains and stays drained. Render thread of the
// tap's aggregate.
OSStatus captureProcedure(void* clientData, const AudioTimeStamp& now, AudioBufferList input,
                          AudioBufferList output) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
