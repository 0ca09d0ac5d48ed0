#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "audio/device/AudioHardware.h"
#include "audio/effects/PluginChainSnapshot.h"
#include "audio/engine/TapAggregate.h"
#include "base/Published.h"
#include "base/RTScalar.h"
#include "base/RenderClaim.h"
#include "dsp/BacklogWatch.h"
#include "dsp/RenderFlags.h"
#include "dsp/Ring.h"
#include "dsp/RingLedger.h"
#include "dsp/RingProbe.h"
#include "dsp/SpectrumRing.h"
#include "dsp/TapEffects.h"

namespace sonmere {

// One routed app: a process tap on all its processes, whose I/O procedure writes into a ring that the render
// of its bus drains. Shared: lives until the last published list that holds it is gone. Volumes, flags and
// effect values change at any time from the main thread.
struct SingleAppTap : TapEffects {
  SingleAppTap(ProcessID mainPID, std::vector<AudioObjectID> objects, std::string familyKey,
               const HostClock& clock, const RenderFlags& flags);

  // Main thread.
  ProcessID pid;
  std::vector<AudioObjectID> audioObjectIDs;  // never empty
  std::string bundleID;
  TapAggregate objects;
  int busIndex = 0;                                    // 0 or 2 to 9
  AudioDeviceID outputDeviceID = kAudioObjectUnknown;  // 0 on a bus, else the device of its renderer
  bool createdMuted = false;                           // the mute behaviour of the platform tap

  // Main thread writes, callbacks read.
  RTScalar<float> monitorVolume{1.0f};  // linear
  RTScalar<bool> monitorLinked{true};   // the monitor and the meter follow the volume
  RTScalar<bool> isMuted{false};
  RTScalar<bool> monitorEnabled{false};
  RTPointer<float> monitorBuffer;  // 48,000 samples once monitored, kept until the tap is freed
  Published<const PluginChainSnapshot> pluginChain;

  // A value of 0 or more asks the next read to drop the backlog; the render sets -1 when it has.
  RTScalar<std::int64_t> trimKeepSamples{-1};
  // The next read begins at the newest block: what gathered before anybody read would stay as delay.
  RTScalar<bool> startLive{true};

  // I/O procedure.
  const HostClock& hostClock;
  const RenderFlags& renderFlags;
  RTScalar<float> level{0.0f};  // 0 to 1
  RTScalar<std::uint64_t> levelStamp{0};
  RTScalar<std::int64_t> callbackCount{0};
  RTPosition writePos;
  SpectrumRing spectrum;

  // The render of its bus, under the claim.
  RenderClaim claim;
  RTPosition readPos;
  RTPosition monitorWritePos;
  RTPosition monitorReadPos;  // the monitor's render
  RingProbe ringProbe;
  RingProbe monitorProbe;
  RingLedger ledger;
  BacklogWatch backlogWatch;

  // 48,000 samples of interleaved stereo.
  float* ringBuffer() noexcept { return ring_.get(); }
  std::int64_t available() const noexcept {
    return ringAvailable<kTapRingSamples>(writePos.loadAcquire(), readPos.loadAcquire());
  }
  // Makes the monitor ring, once. Main thread.
  void allocateMonitorBuffer();

 private:
  std::unique_ptr<float[]> ring_;
  std::unique_ptr<float[]> monitorRing_;
};

}  // namespace sonmere
