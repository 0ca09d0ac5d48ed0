#include "input/MicRouteCheck.h"

#include <fmt/format.h>

#include <utility>

#include "dsp/VectorMath.h"

namespace sonmere {

namespace {
constexpr Duration kFirstLook = fromMilliseconds(1600);
constexpr Duration kNextLook = fromMilliseconds(2500);
constexpr int kMostHeals = 2;
// The microphone hears something that must be on the bridge too, on the meters' scale.
constexpr float kClearlyHeard = 0.12f;
// Less than the smallest step of 16 bits.
constexpr float kFlat = 1e-5f;
}  // namespace

MicRouteCheck::MicRouteCheck(EngineContext& context, std::shared_ptr<MicRenderState> state)
    : context_(context), state_(std::move(state)) {}

MicRouteCheck::~MicRouteCheck() { unlisten(); }

OSStatus MicRouteCheck::hear(void* heard, const AudioTimeStamp&, AudioBufferList input,
                             AudioBufferList) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  for (const AudioBuffer& buffer : input)
    if (buffer.data && maxMagnitude(buffer.data, buffer.byteSize / sizeof(float)) > kFlat)
      static_cast<Heard*>(heard)->anything = true;
  return noErr;
}

void MicRouteCheck::listen(AudioDeviceID bridge) {
  AudioHardware& hardware = context_.hardware();
  const auto procedure = hardware.createIOProc(bridge, &MicRouteCheck::hear, &heard_);
  if (!procedure) return;
  bridge_ = bridge;
  procedure_ = *procedure;
  if (hardware.startDevice(bridge, *procedure) != noErr) unlisten();
}

void MicRouteCheck::unlisten() {
  if (procedure_ == 0) return;
  AudioHardware& hardware = context_.hardware();
  hardware.stopDevice(bridge_, procedure_);
  hardware.destroyIOProc(bridge_, procedure_);
  procedure_ = 0;
}

void MicRouteCheck::begin(AudioDeviceID bridge) {
  unlisten();
  heard_.anything = false;
  state_->peakHold = 0.0f;
  listen(bridge);
  if (procedure_ == 0) return;  // a bridge that can't be listened to proves nothing
  verify_ = context_.runtime.mainQueue().postAfter(kFirstLook, [this] { look(); });
}

void MicRouteCheck::end() {
  verify_.cancel();
  unlisten();
}

void MicRouteCheck::look() {
  if (heard_.anything) {
    context_.log.info("verify: mic route OK — bridge is receiving audio");
    healAttempts_ = 0;
    return unlisten();
  }
  const float peak = state_->peakHold.exchange(0.0f);
  // With the volume at nothing a flat bridge is right.
  if (peak > kClearlyHeard && state_->micVolume > 0) return giveUpOrHeal();
  context_.log.debug(
      fmt::format("verify: bridge flat but mic heard nothing (peak {:.2f}) — re-checking, no heal", peak));
  verify_ = context_.runtime.mainQueue().postAfter(kNextLook, [this] { look(); });
}

void MicRouteCheck::giveUpOrHeal() {
  unlisten();
  if (healAttempts_ >= kMostHeals) {
    context_.log.warning(
        fmt::format("verify: bridge flat with mic running — still wedged after {} heals, giving up",
                    std::exchange(healAttempts_, 0)));
    return;
  }
  ++healAttempts_;
  context_.log.warning("verify: bridge flat with mic running — healing the mic route");
  if (heal) heal();
}

}  // namespace sonmere
