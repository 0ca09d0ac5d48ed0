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

// What the callback works on.
struct BusLoopbackCallbackContext : InputContext {
  BusLoopbackCallbackContext(std::shared_ptr<MonitorSource> itsSource, double rate)
      : InputContext(rate), source(std::move(itsSource)) {}

  const std::shared_ptr<MonitorSource> source;
  RTScalar<std::int64_t> callbackCount{0};
  std::array<float, 2 * kBufferFrames> buffer{};
};

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
    : context_(context), trackIndex_(track), input_(context.rendering, plan()) {}

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
InputRunner::Plan BusLoopbackMonitor::plan() const {
  return {.callback = fetchTrack,
          .framesPerSlice = kBufferFrames,
          .format =
              [this](const OutputUnit&, AudioDeviceID) {
                return AudioStreamFormat{bridgeRate(), 2};
              },
          .makeContext =
              [source = source_](const AudioStreamFormat& format) {
                return std::make_shared<BusLoopbackCallbackContext>(source, format.sampleRate);
              }};
}

std::expected<void, OutputFailure> BusLoopbackMonitor::build(AudioDeviceID device) {
  const auto made = input_.make(device);
  return made ? input_.start() : made;
}

void BusLoopbackMonitor::open() {
  const auto device = CoreAudioUtils::deviceForBus(context_.hardware(), bus());
  if (!device) return;
  source_->setEnabled(true);
  if (const auto built = build(*device); !built) {
    context_.log.warning(
        fmt::format("Track {}: loopback could not be opened ({})", trackIndex_, built.error().status));
    source_->setEnabled(false);
    context_.monitors.noteSwitched();
    return retry();
  }
  context_.monitors.noteSwitched();
  const auto listen = [this](PropertyListener& listener, AudioDeviceID of) {
    listener.listen(context_.hardware(), of, AudioProperty::nominalSampleRate, context_.runtime.mainQueue(),
                    [this] { reopen(); });
  };
  listen(sampleRateListener_, *device);
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
  input_.stop();
}

void BusLoopbackMonitor::reopen() {
  close();
  if (shouldBeRunning_) open();
}

void BusLoopbackMonitor::retry() {
  if (retryAttempt_ >= kMostRetries) return;
  retryTask_ = context_.runtime.mainQueue().postAfter(kRetryStep * ++retryAttempt_, [this] {
    if (shouldBeRunning_ && !isRunning()) open();
  });
}

// A unit that was opened and is never called.
void BusLoopbackMonitor::look() {
  watchdog_.cancel();
  if (!isRunning()) return;
  if (static_cast<BusLoopbackCallbackContext&>(*input_.context()).callbackCount > 0) {
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
  if (isRunning() && present == input_.device()) return;
  isNudged_ = present.has_value();
  retryAttempt_ = watchdogAttempts_ = 0;
  reopen();
}

void BusLoopbackMonitor::forget() {
  retryTask_.cancel();
  close();
}

}  // namespace sonmere
