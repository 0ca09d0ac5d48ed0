#include "input/MicRouteCheck.h"

#include <fmt/format.h>

#include <utility>

namespace sonmere {

namespace {
constexpr Duration kFirstLook = fromMilliseconds(1600);
constexpr Duration kNextLook = fromMilliseconds(2500);
constexpr int kMostHeals = 2;
// The microphone hears something that must be on the bridge too, on the meters' scale.
constexpr float kClearlyHeard = 0.12f;
}  // namespace

MicRouteCheck::MicRouteCheck(EngineContext& context, std::shared_ptr<MicRenderState> state)
    : context_(context), state_(std::move(state)), ear_(context.hardware()) {}

void MicRouteCheck::begin(AudioDeviceID bridge) {
  state_->peakHold = 0.0f;
  if (!ear_.listen(bridge)) return;  // one that can't be listened to proves nothing
  verify_ = context_.runtime.mainQueue().postAfter(kFirstLook, [this] { look(); });
}

void MicRouteCheck::end() {
  verify_.cancel();
  ear_.stop();
}

void MicRouteCheck::look() {
  if (ear_.hasHeard()) {
    context_.log.info("verify: mic route OK — bridge is receiving audio");
    healAttempts_ = 0;
    return ear_.stop();
  }
  const float peak = state_->peakHold.exchange(0.0f);
  // With the volume at nothing a flat bridge is right.
  if (peak > kClearlyHeard && state_->micVolume > 0) return giveUpOrHeal();
  context_.log.debug(
      fmt::format("verify: bridge flat but mic heard nothing (peak {:.2f}) — re-checking, no heal", peak));
  verify_ = context_.runtime.mainQueue().postAfter(kNextLook, [this] { look(); });
}

void MicRouteCheck::giveUpOrHeal() {
  ear_.stop();
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
