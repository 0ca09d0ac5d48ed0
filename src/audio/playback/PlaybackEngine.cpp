#include "audio/playback/PlaybackEngine.h"

#include <fmt/format.h>

#include <utility>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/SettleTimes.h"
#include "audio/playback/PlaybackRender.h"

namespace sonmere {

namespace {

constexpr const char* kOSStatusErrorDomain = "NSOSStatusErrorDomain";
constexpr Duration kIdleTime = std::chrono::seconds(1);
std::string textOf(const OutputFailure& failure) {
  const auto failed = [&](const char* what) { return fmt::format("{} ({})", what, failure.status); };
  switch (failure.step) {
    case OutputStep::findDevice:
      return failed("there is no output device; connect one or choose it as default");
    case OutputStep::readRate:
      return failed("the output device does not tell its sample rate");
    case OutputStep::findComponent:
    case OutputStep::createUnit:
      return failed("could not create the audio output");
    case OutputStep::setDevice:
      return failed("could not bind the audio output");
    case OutputStep::setFormat:
      return failed("could not set the audio output's format");
    case OutputStep::setCallback:
      return failed("could not install the render callback");
    case OutputStep::initialize:
      return failed("could not initialize the audio output");
    case OutputStep::start:
      return failed("could not start the audio output");
  }
  return "";
}

// A fresh unit is connected within tens of milliseconds.
constexpr Duration kHeardInterval = fromMilliseconds(5);
constexpr Duration kHeardTimeout = fromMilliseconds(500);

}  // namespace

PlaybackEngine::PlaybackEngine(RenderServices& rendering, RouteKeeper& routes)
    : rendering_(rendering),
      runtime_(rendering.runtime),
      hardware_(rendering.hardware),
      worker_(rendering.runtime.serialQueue("sonmere.playback")),
      output_(rendering, plan()),
      routes_(routes) {
  output_.outdated = [this] {
    interrupt();
    settling_ = runtime_.mainQueue().postAfter(settleTimes(hardware_).change, [this] { resume(); });
  };
}

PlaybackEngine::~PlaybackEngine() {
  halt();
  teardown();
  rendering_.waitForTeardown();
}

// The unit.

OutputRunner::Plan PlaybackEngine::plan() {
  OutputRunner::Plan plan;
  plan.device = [this] { return CoreAudioUtils::defaultOutput(hardware_); };
  plan.rate = [this](AudioDeviceID device) { return CoreAudioUtils::nominalRate(hardware_, device); };
  plan.callback = renderPlayback;
  plan.makeContext = [](AudioDeviceID, double rate) { return std::make_shared<PlaybackContext>(rate); };
  plan.alsoWatched = [] {
    return std::vector<OutputRunner::Property>{{kAudioObjectSystemObject, AudioProperty::defaultOutput}};
  };
  return plan;
}

Outcome<void> PlaybackEngine::start() {
  idle_.cancel();
  awaitsOutput_ = false;
  if (output_.isRunning() && !output_.isAsPlanned()) teardown();
  if (output_.isRunning()) return {};
  if (const auto started = output_.start(); !started)
    return std::unexpected(Error{kOSStatusErrorDomain, started.error().status, textOf(started.error())});
  registration_ = routes_.add(*this);
  return {};
}

void PlaybackEngine::teardown() {
  publish(nullptr);
  output_.stop();
  if (!awaitsOutput_) registration_ = {};
}

void PlaybackEngine::publish(std::shared_ptr<const PlaybackProgram> program) {
  if (const auto& context = output_.context())
    static_cast<PlaybackContext&>(*context).program.publish(std::move(program), rendering_.retirement,
                                                            kSnapshotGrace);
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
                                               std::move(request.tracks), sampleRate(), std::move(events)),
              std::move(request.started)};
  *weak = pending_.feeder;
  pending_.feeder->start();
}

void PlaybackEngine::beginOnceHeard(const std::shared_ptr<PlaybackFeeder>& feeder, Duration patience) {
  if (feeder != pending_.feeder || !output_.isRunning()) return;
  if (patience <= Duration::zero() || output_.isHeard()) return begin();
  untilHeard_ = runtime_.mainQueue().postAfter(
      kHeardInterval, [this, feeder, patience] { beginOnceHeard(feeder, patience - kHeardInterval); });
}

void PlaybackEngine::begin() {
  endFeeder(playing_);
  playing_ = std::exchange(pending_.feeder, nullptr);
  timeline_ = playing_->program()->timeline;
  publish(playing_->program());
  if (const auto started = std::exchange(pending_.started, nullptr)) started();
}

std::int64_t PlaybackEngine::playedFrames() const { return timeline_ ? timeline_->frame.loadAcquire() : 0; }

void PlaybackEngine::halt() {
  endFeeder(pending_.feeder);
  pending_ = {};
  endFeeder(playing_);
  timeline_.reset();
  if (output_.isRunning()) publish(nullptr);
}

void PlaybackEngine::stop() {
  awaitsOutput_ = false;
  halt();
  if (!output_.isRunning())
    registration_ = {};
  else
    idle_ = runtime_.mainQueue().postAfter(kIdleTime, [this] { teardown(); });
}

void PlaybackEngine::endFeeder(std::shared_ptr<PlaybackFeeder>& feeder) {
  if (!feeder) return;
  feeder->cancel();
  if (const std::int64_t late = feeder->lateFrames(); late > 0)
    rendering_.log.warning(fmt::format("PlaybackEngine: {} frames came too late and were silent", late));
  feeder.reset();
}

// The route.

// Where it broke off can still be asked for while it is told.
void PlaybackEngine::interrupt() {
  settling_.cancel();
  awaitsOutput_ = awaitsOutput_ || playing_ || pending_.feeder;
  if (output_.isRunning() && awaitsOutput_ && interrupted) interrupted();
  halt();
  idle_.cancel();
  teardown();
}

void PlaybackEngine::resume() {
  settling_.cancel();
  if (!std::exchange(awaitsOutput_, false)) return;
  if (settled) settled();
  if (!output_.isRunning()) registration_ = {};
}

void PlaybackEngine::serverLost() { interrupt(); }

void PlaybackEngine::revalidate(RevalidationReason) {
  if (output_.isRunning() && !output_.isAsPlanned()) interrupt();
  resume();
}

RouteHealthEntry PlaybackEngine::health() const {
  const auto verdict = output_.isRunning() ? RouteHealthVerdict::healthy
                       : awaitsOutput_     ? RouteHealthVerdict::broken
                                           : RouteHealthVerdict::inactive;
  return {"playback", "Playback", verdict, ""};
}

}  // namespace sonmere
