#include "routing/monitor/BusLoopbackMonitor.h"

#include <fmt/format.h>

#include <array>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/Rates.h"

namespace sonmere {

namespace {

constexpr std::uint32_t kBufferFrames = 4096;
constexpr Duration kRetryStep = fromMilliseconds(30);
constexpr Duration kWatchdogTime = std::chrono::seconds(5);
// Then the Track is left alone until the devices change.
constexpr int kMostRetries = 20;
constexpr int kMostWatchdogAttempts = 3;

}  // namespace

// What the callback works on.
struct BusLoopbackCallbackContext : RenderContext {
  BusLoopbackCallbackContext(std::shared_ptr<MonitorSource> itsSource, double rate)
      : RenderContext(rate), source(std::move(itsSource)) {}

  const std::shared_ptr<MonitorSource> source;
  OutputUnit* unit = nullptr;  // set before it starts
  RTScalar<std::int64_t> callbackCount{0};
  std::array<float, 2 * kBufferFrames> buffer{};
};

namespace {

OSStatus fetchTrack(void* refcon, const AudioTimeStamp& time, std::uint32_t,
                    std::uint32_t frames) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  auto& context = RenderContext::of<BusLoopbackCallbackContext>(refcon);
  const RenderReader::Block block(*context.reader);
  if (context.retired || frames > kBufferFrames) return noErr;
  context.callbackCount.add(1);
  AudioBuffer buffer{2, 8 * frames, context.buffer.data()};
  if (const OSStatus status = context.unit->render(time, frames, {&buffer, 1}); status != noErr)
    return status;
  StereoRing* const ring = context.source->ring();
  if (ring && context.source->isEnabled()) ring->writer.write(buffer.data, 2 * std::int64_t(frames));
  return noErr;
}

}  // namespace

BusLoopbackMonitor::BusLoopbackMonitor(EngineContext& context, int track)
    : context_(context), trackIndex_(track) {}

BusLoopbackMonitor::~BusLoopbackMonitor() {
  stop();
  context_.rendering.waitForTeardown();
}

void BusLoopbackMonitor::start() {
  if (std::exchange(shouldBeRunning_, true)) return;
  retryAttempt_ = watchdogAttempts_ = 0;
  open();
}

void BusLoopbackMonitor::stop() {
  shouldBeRunning_ = isNudged_ = false;
  retryTask_.cancel();
  close();
}

double BusLoopbackMonitor::bridgeRate() const {
  const auto bridge = CoreAudioUtils::deviceForBus(context_.hardware(), kBridgeBus);
  return bridge ? CoreAudioUtils::nominalRate(context_.hardware(), *bridge).value_or(kFallbackRate)
                : kFallbackRate;
}

// At the rate of the monitor, to which the unit converts.
OSStatus BusLoopbackMonitor::build(AudioDeviceID device) {
  auto made = context_.hardware().newOutputUnit();
  if (!made) return made.error();
  OutputUnit& unit = **made;
  callbackContext_ = std::make_shared<BusLoopbackCallbackContext>(source_, bridgeRate());
  callbackContext_->unit = made->get();
  OSStatus status = unit.setEnableIO(AudioScope::input, true);
  const auto then = [&status](auto step) {
    if (status == noErr) status = step();
  };
  then([&] { return unit.setEnableIO(AudioScope::output, false); });
  then([&] { return unit.setCurrentDevice(device); });
  then([&] { return unit.setStreamFormat(AudioScope::output, {callbackContext_->sampleRate, 2}); });
  then(
      [&] { return unit.setInputCallback(fetchTrack, static_cast<RenderContext*>(callbackContext_.get())); });
  then([&] { return unit.setMaximumFramesPerSlice(kBufferFrames); });
  then([&] { return unit.initialize(); });
  if (status != noErr) return status;
  context_.rendering.retirement.addReader(callbackContext_->reader);
  if (status = unit.start(); status != noErr) {
    unit.uninitialize();
    return status;
  }
  unit_ = std::move(*made);
  device_ = device;
  return noErr;
}

void BusLoopbackMonitor::open() {
  const auto device = CoreAudioUtils::deviceForBus(context_.hardware(), bus());
  if (!device) return;
  source_->setEnabled(true);
  if (const OSStatus status = build(*device); status != noErr) {
    context_.log.warning(fmt::format("Track {}: loopback could not be opened ({})", trackIndex_, status));
    callbackContext_.reset();
    source_->setEnabled(false);
    context_.monitors.noteSwitched();
    return retry();
  }
  context_.monitors.noteSwitched();
  const auto listen = [this](PropertyListener& listener, AudioDeviceID of) {
    listener.listen(context_.hardware(), of, AudioProperty::nominalSampleRate, context_.runtime.mainQueue(),
                    [this] { reopen(); });
  };
  listen(sampleRateListener_, device_);
  if (const auto bridge = CoreAudioUtils::deviceForBus(context_.hardware(), kBridgeBus))
    listen(bridgeRateListener_, *bridge);
  watchdog_ = context_.runtime.mainQueue().postAfter(kWatchdogTime, [this] { look(); });
}

void BusLoopbackMonitor::close() {
  watchdog_.cancel();
  sampleRateListener_.stop();
  bridgeRateListener_.stop();
  source_->setEnabled(false);
  context_.monitors.noteSwitched();
  if (!unit_) return;
  callbackContext_->retired = true;
  context_.rendering.teardown.dispose(std::move(unit_), std::move(callbackContext_));
  device_ = kAudioObjectUnknown;
}

void BusLoopbackMonitor::reopen() {
  close();
  if (shouldBeRunning_) open();
}

void BusLoopbackMonitor::retry() {
  if (retryAttempt_ >= kMostRetries) return;
  retryTask_ = context_.runtime.mainQueue().postAfter(kRetryStep * ++retryAttempt_, [this] {
    if (shouldBeRunning_ && !unit_) open();
  });
}

// A unit that was opened and is never called.
void BusLoopbackMonitor::look() {
  watchdog_.cancel();
  if (!unit_) return;
  if (callbackContext_->callbackCount > 0) {
    watchdogAttempts_ = retryAttempt_ = 0;
    if (std::exchange(isNudged_, false))
      context_.log.info(fmt::format("Track {}: device-list nudge succeeded", trackIndex_));
    return;
  }
  if (watchdogAttempts_++ < kMostWatchdogAttempts) reopen();
}

void BusLoopbackMonitor::nudge() {
  if (!shouldBeRunning_) return;
  const auto present = CoreAudioUtils::deviceForBus(context_.hardware(), bus());
  if (unit_ && present == device_) return;
  isNudged_ = present.has_value();
  retryAttempt_ = watchdogAttempts_ = 0;
  reopen();
}

void BusLoopbackMonitor::forget() {
  retryTask_.cancel();
  close();
}

}  // namespace sonmere
