#include "audio/playback/PlaybackEngine.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/Rates.h"
#include "audio/engine/SettleTimes.h"
#include "audio/playback/PlaybackRender.h"

namespace sonmere {

namespace {

constexpr const char* kOSStatusErrorDomain = "NSOSStatusErrorDomain";
constexpr Duration kIdleTime = std::chrono::seconds(1);
// A fresh unit is connected within tens of milliseconds.
constexpr Duration kHeardInterval = fromMilliseconds(5);
constexpr Duration kHeardTimeout = fromMilliseconds(500);

}  // namespace

PlaybackEngine::PlaybackEngine(RenderServices& rendering)
    : rendering_(rendering),
      runtime_(rendering.runtime),
      hardware_(rendering.hardware),
      worker_(rendering.runtime.serialQueue("sonmere.playback")) {}

PlaybackEngine::~PlaybackEngine() {
  stop();
  teardown();
  rendering_.waitForTeardown();
}

// The unit.

Outcome<void> PlaybackEngine::start() {
  idle_.cancel();
  if (unit_ && !isOutputAsBuilt()) teardown();
  return unit_ ? Outcome<void>() : build();
}

Outcome<void> PlaybackEngine::build() {
  const auto fail = [](const char* what, OSStatus status) {
    return std::unexpected(Error{kOSStatusErrorDomain, status, fmt::format("{} ({})", what, status)});
  };
  const auto device = CoreAudioUtils::defaultOutput(hardware_);
  if (!device)
    return fail("there is no output device; connect one or choose it as default",
                kAudioHardwareBadDeviceError);
  const auto rate = CoreAudioUtils::nominalRate(hardware_, *device);
  if (!rate) return fail("the output device does not tell its sample rate", kAudioHardwareBadDeviceError);
  auto unit = hardware_.newOutputUnit();
  if (!unit) return fail("could not create the audio output", unit.error());
  auto context = std::make_shared<PlaybackContext>();
  if (const OSStatus status = (*unit)->setCurrentDevice(*device); status != noErr)
    return fail("could not bind the audio output", status);
  if (const OSStatus status = (*unit)->setStreamFormat(AudioScope::input, {*rate, 2}); status != noErr)
    return fail("could not set the audio output's format", status);
  if (const OSStatus status = (*unit)->setRenderCallback(renderPlayback, context.get()); status != noErr)
    return fail("could not install the render callback", status);
  if (const OSStatus status = (*unit)->initialize(); status != noErr)
    return fail("could not initialize the audio output", status);
  rendering_.retirement.addReader(context->reader);
  if (const OSStatus status = (*unit)->start(); status != noErr) {
    rendering_.teardown.dispose(std::move(*unit), std::move(context));
    return fail("could not start the audio output", status);
  }
  context_ = std::move(context);
  unit_ = std::move(*unit);
  device_ = *device;
  sampleRate_ = *rate;
  listen();
  return {};
}

void PlaybackEngine::teardown() {
  listeners_.clear();
  if (!unit_) return;
  context_->program.publish(nullptr, rendering_.retirement, kSnapshotGrace);
  rendering_.teardown.dispose(std::move(unit_), std::move(context_));
  device_ = kAudioObjectUnknown;
  sampleRate_ = 0;
}

// Playing.

void PlaybackEngine::play(Request request) {
  idle_.cancel();
  const bool goesOn = request.from && timeline_;
  auto program = std::make_shared<PlaybackProgram>();
  program->timeline = goesOn ? timeline_ : std::make_shared<PlaybackTimeline>();
  for (std::size_t i = 0; i < request.tracks.size(); ++i)
    program->streams.push_back(std::make_shared<PlaybackStream>(goesOn ? *request.from : 0));

  endFeeder(pending_.feeder);
  PlaybackFeeder::Events events{nullptr, std::move(request.finished), std::move(request.failed)};
  // Set below: the event needs the feeder that it comes from.
  auto weak = std::make_shared<std::weak_ptr<PlaybackFeeder>>();
  events.primed = [this, weak] {
    if (const auto feeder = weak->lock()) beginOnceHeard(feeder, kHeardTimeout);
  };
  pending_ = {std::make_shared<PlaybackFeeder>(runtime_, worker_, std::move(program),
                                               std::move(request.tracks), sampleRate_, std::move(events)),
              std::move(request.started)};
  *weak = pending_.feeder;
  pending_.feeder->start();
}

void PlaybackEngine::beginOnceHeard(const std::shared_ptr<PlaybackFeeder>& feeder, Duration patience) {
  if (feeder != pending_.feeder || !unit_) return;
  if (patience <= Duration::zero() || unit_->isHeard()) return begin();
  untilHeard_ = runtime_.mainQueue().postAfter(
      kHeardInterval, [this, feeder, patience] { beginOnceHeard(feeder, patience - kHeardInterval); });
}

void PlaybackEngine::begin() {
  endFeeder(playing_);
  playing_ = std::exchange(pending_.feeder, nullptr);
  timeline_ = playing_->program()->timeline;
  context_->program.publish(playing_->program(), rendering_.retirement, kSnapshotGrace);
  if (const auto started = std::exchange(pending_.started, nullptr)) started();
}

std::int64_t PlaybackEngine::playedFrames() const { return timeline_ ? timeline_->frame.loadAcquire() : 0; }

void PlaybackEngine::stop() {
  endFeeder(pending_.feeder);
  pending_ = {};
  endFeeder(playing_);
  timeline_.reset();
  if (!unit_) return;
  if (context_->program.current()) context_->program.publish(nullptr, rendering_.retirement, kSnapshotGrace);
  idle_ = runtime_.mainQueue().postAfter(kIdleTime, [this] { teardown(); });
}

void PlaybackEngine::endFeeder(std::shared_ptr<PlaybackFeeder>& feeder) {
  if (!feeder) return;
  feeder->cancel();
  if (const std::int64_t late = feeder->lateFrames(); late > 0)
    rendering_.log.warning(fmt::format("PlaybackEngine: {} frames came too late and were silent", late));
  feeder.reset();
}

// The output under it.

void PlaybackEngine::listen() {
  const auto add = [this](AudioObjectID object, AudioProperty property, void (PlaybackEngine::*handler)()) {
    listeners_.emplace_back().listen(hardware_, object, property, runtime_.mainQueue(),
                                     [this, handler] { (this->*handler)(); });
  };
  add(kAudioObjectSystemObject, AudioProperty::defaultOutput, &PlaybackEngine::outputChanged);
  add(kAudioObjectSystemObject, AudioProperty::serviceRestarted, &PlaybackEngine::serviceRestarted);
  add(device_, AudioProperty::nominalSampleRate, &PlaybackEngine::outputChanged);
  add(device_, AudioProperty::isAlive, &PlaybackEngine::outputChanged);
}

bool PlaybackEngine::isOutputAsBuilt() const {
  const auto rate = CoreAudioUtils::nominalRate(hardware_, device_);
  return CoreAudioUtils::defaultOutput(hardware_) == device_ && rate &&
         std::abs(*rate - sampleRate_) <= kSameRateHz && hardware_.isAlive(device_).value_or(false);
}

void PlaybackEngine::outputChanged() {
  if (unit_ && !isOutputAsBuilt()) interrupt(settleTimes(hardware_).change);
}

void PlaybackEngine::serviceRestarted() {
  if (unit_) interrupt(settleTimes(hardware_).restart);
}

void PlaybackEngine::interrupt(Duration settleTime) {
  const bool wasPlaying = playing_ || pending_.feeder;
  stop();
  idle_.cancel();
  teardown();
  if (wasPlaying && interrupted) interrupted(settleTime);
}

}  // namespace sonmere
