#include "routing/AppOutputRenderer.h"

#include <fmt/format.h>

#include <algorithm>

namespace sonmere {

AppOutputRenderer::AppOutputRenderer(RoutingCore& core, std::shared_ptr<SingleAppTap> tap)
    : core_(core),
      tap_(std::move(tap)),
      device_(tap_->outputDeviceID),
      deviceName_(CoreAudioUtils::deviceName(core.hardware(), device_).value_or(tap_->wish.deviceUID)),
      runner_(core.context.rendering, plan()) {}

// At the rate of the capture, so that the ring needs no conversion; the unit converts to that of its device.
OutputRunner::Plan AppOutputRenderer::plan() {
  OutputRunner::Plan plan;
  plan.device = [this] { return device_; };
  plan.rate = [this](AudioDeviceID) {
    return CoreAudioUtils::nominalRate(core_.hardware(), tap_->objects.aggDeviceID).value_or(kFallbackRate);
  };
  plan.callback = renderAppOutput;
  plan.makeContext = [this](AudioDeviceID, double rate) {
    return std::make_shared<AppOutputContext>(tap_, rate);
  };
  plan.setFormat = [this](OutputUnit& unit, RenderContext& context) {
    return setFormat(unit, static_cast<AppOutputContext&>(context));
  };
  return plan;
}

OSStatus AppOutputRenderer::setFormat(OutputUnit& unit, AppOutputContext& context) {
  const auto& [uid, left, right] = tap_->wish;
  const AudioStreamFormat stereo{context.sampleRate, 2};
  if (left == 0 && right == 1) return unit.setStreamFormat(AudioScope::input, stereo);
  const int present = CoreAudioUtils::outputChannelCount(core_.hardware(), device_);
  if (present < 3 || std::max(left, right) >= present) {
    core_.log().warning(
        fmt::format("Sonmere: {} has {} output channels — pair {}/{} unavailable, using 1–2 (intent kept)",
                    deviceName_, present, left + 1, right + 1));
    return unit.setStreamFormat(AudioScope::input, stereo);
  }
  const AudioStreamFormat all{context.sampleRate, std::uint32_t(present)};
  if (unit.setStreamFormat(AudioScope::input, all) != noErr) return setMappedFormat(unit, context, present);
  context.channels = all.channels;
  context.placedLeft = std::uint32_t(left);
  context.placedRight = std::uint32_t(right);
  return noErr;
}

// Sound on the first two channels is better than none.
OSStatus AppOutputRenderer::setMappedFormat(OutputUnit& unit, AppOutputContext& context, int deviceChannels) {
  core_.log().warning(
      fmt::format("Sonmere: {} refused a {}-ch client format — falling back to stereo + AU channel map",
                  deviceName_, deviceChannels));
  if (const OSStatus status = unit.setStreamFormat(AudioScope::input, {context.sampleRate, 2})) return status;
  std::vector<std::int32_t> map(std::size_t(deviceChannels), -1);
  map[std::size_t(tap_->wish.left)] = 0;
  map[std::size_t(tap_->wish.right)] = 1;
  if (const OSStatus status = unit.setChannelMap(std::move(map)))
    core_.log().warning(
        fmt::format("Sonmere: channel map ({}/{}) also refused by {} (err {}) — pair lands on 1–2",
                    tap_->wish.left + 1, tap_->wish.right + 1, deviceName_, status));
  return noErr;
}

std::string AppOutputRenderer::stats() const {
  const StereoRing::Reader& ring = tap_->ring.reader();
  const auto* context = static_cast<const AppOutputContext*>(runner_.context().get());
  const double backlogMs = double(ring.lastBacklog) / 2 / runner_.sampleRate() * 1000;
  return fmt::format("{} → {}: backlog {:.1f}ms, slice {} fr, renders {}, underruns {}, hard-trims {}",
                     tap_->bundleID, deviceName_, backlogMs, context->lastSliceFrames.load(),
                     context->renders.load(), ring.misses(), ring.hardTrims.load());
}

}  // namespace sonmere
