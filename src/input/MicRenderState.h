#pragma once

#include <array>
#include <cstdint>

#include "audio/effects/PluginChainSnapshot.h"
#include "base/Published.h"
#include "base/RTScalar.h"
#include "dsp/Equaliser.h"
#include "dsp/Limiter.h"
#include "dsp/MicSend.h"
#include "dsp/MonitorSource.h"
#include "dsp/RTDoubles.h"
#include "dsp/RecorderRing.h"
#include "input/ExtraSourceMix.h"
#include "input/MicChannelMap.h"
#include "input/MicCounters.h"

namespace sonmere {

constexpr int kMicMeteredChannels = 32;

// What the mic's two callbacks work on. One instance a mic engine, kept alive by every unit that may call.
// The main thread writes settings; what else a field's writer is stands beside it.
struct MicRenderState {
  explicit MicRenderState(MicSend& send) : micSend(send) {}

  // Settings.
  RTScalar<std::uint8_t> mode{std::uint8_t(InputChannelMode::automatic)};
  RTScalar<int> customLeft{0}, customRight{1};
  RTScalar<float> micVolume{1.0f};  // linear
  Published<const ExtraSources> extraSources;
  Published<const PluginChainSnapshot> pluginChain;
  Published<RecorderRing> recorder;
  RTScalar<bool> eqEnabled{false};
  RTDoubles eqCoefficients{kEQCoefficientCount};
  RTScalar<bool> limiterEnabled{false};
  RTScalar<float> limiterCeiling{0.891f};  // linear
  RTScalar<float> limiterAttack{kLimiterRates48k.attack}, limiterRelease{kLimiterRates48k.release};
  // What the user hears of it, before the volume.
  MonitorSource monitor;
  RTScalar<float> monitorVolume{1.0f};  // linear
  // Whether capture and bridge run on different rates, so that what gathers between them is trimmed.
  RTScalar<bool> isConverted{false};

  // The capture's.
  AutoChannelChoice autoChoice;
  InputChannelMode lastMode = InputChannelMode::stereo;
  ExtraSlots extraSlots;
  RTDoubles eqDelays{kEQDelayCount};
  RTScalar<float> limiterGain{1.0f};  // also reset by the main thread
  std::array<RTScalar<float>, kMicMeteredChannels> channelLevels{};
  RTScalar<float> preLevel, postLevel;  // 0 to 1 on the meters' scale
  RTScalar<float> peakHold;             // highest preLevel; the self-test clears it

  MicCounters counters;
  // The ring belongs to all that send the mic on: the capture writes, the bridge's output reads here.
  MicSend& micSend;
  RTPosition bridgeReadPos;  // bytes
};

}  // namespace sonmere
