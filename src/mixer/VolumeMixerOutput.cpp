#include "mixer/VolumeMixerOutput.h"

#include <fmt/format.h>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/Rates.h"
#include "audio/engine/SettleTimes.h"
#include "mixer/VolumeMixerRender.h"

namespace sonmere {

namespace {

std::string textOf(const OutputFailure& failure) {
  const auto failed = [&](const char* what) {
    return fmt::format("Failed to {} ({}).", what, failure.status);
  };
  switch (failure.step) {
    case OutputStep::findDevice:
    case OutputStep::readRate:
      return "No system default output device.";
    case OutputStep::findComponent:
      return "Audio system component not found.";
    case OutputStep::createUnit:
      return failed("create audio output");
    case OutputStep::setDevice:
      return failed("bind audio output");
    case OutputStep::setFormat:
      return failed("set audio output format");
    case OutputStep::setCallback:
      return failed("install render callback");
    case OutputStep::initialize:
      return failed("initialize audio output");
    case OutputStep::start:
      return failed("start audio output");
  }
  return "";
}

}  // namespace

VolumeMixerOutput::VolumeMixerOutput(EngineContext& context, const Taps& taps)
    : engine_(context),
      taps_(taps),
      runner_(context.rendering, plan()),
      watchdog_(context.runtime, context.hardware()) {
  runner_.outdated = [this] {
    if (wantsRebuild) wantsRebuild(settleTimes(engine_.hardware()).change);
  };
  watchdog_.stalled = [this](double seconds, int restart) {
    engine_.log.warning(
        fmt::format("Volume Mixer output has not rendered for {:.1f} s: restart {}", seconds, restart));
    if (wantsRebuild) wantsRebuild(Duration::zero());
  };
}

VolumeMixerOutput::~VolumeMixerOutput() {
  teardown();
  engine_.rendering.waitForTeardown();
}

// The unit.

OutputRunner::Plan VolumeMixerOutput::plan() {
  OutputRunner::Plan plan;
  plan.device = [this] { return CoreAudioUtils::defaultOutput(engine_.hardware()); };
  plan.rate = [this](AudioDeviceID device) {
    return CoreAudioUtils::nominalRate(engine_.hardware(), device).value_or(kFallbackRate);
  };
  plan.callback = renderVolumeMixer;
  plan.makeContext = [this](AudioDeviceID device, double rate) {
    engine_.log.info(fmt::format("Volume Mixer output rate: {:f} Hz (device id={})", rate, device));
    auto context = std::make_shared<VolumeMixerOutputContext>(engine_.flags, rate);
    publishTaps(*context);
    for (const auto& [bundleID, tap] : taps_) tap->ring.requests.startLive = true;
    return context;
  };
  return plan;
}

std::optional<std::string> VolumeMixerOutput::build() {
  if (runner_.isRunning()) return std::nullopt;
  if (const auto started = runner_.start(); !started) return textOf(started.error());
  watchdog_.watch(runner_.context());
  return std::nullopt;
}

void VolumeMixerOutput::teardown() {
  watchdog_.pause();
  runner_.stop();
}

std::shared_ptr<VolumeMixerOutputContext> VolumeMixerOutput::context() const {
  return std::static_pointer_cast<VolumeMixerOutputContext>(runner_.context());
}

// What the render reads.

void VolumeMixerOutput::publishTaps(VolumeMixerOutputContext& context) {
  auto snapshot = std::make_shared<VolumeMixerSnapshot>();
  for (const auto& [bundleID, tap] : taps_) snapshot->taps.push_back(tap);
  const auto& published = context.tapsSnapshot.current();
  if (!published || published->taps != snapshot->taps)
    context.tapsSnapshot.publish(std::move(snapshot), engine_.rendering.retirement, kSnapshotGrace);
  context.masterVolume = masterVolume_;
  context.outputEQCoefficients.copy(coefficients48k(equaliser_));
  context.outputEQEnabled = equaliser_.isEnabled;
}

void VolumeMixerOutput::refreshSnapshot() {
  if (const auto present = context()) publishTaps(*present);
}

void VolumeMixerOutput::setMasterVolume(float volume) {
  masterVolume_ = volume;
  if (const auto present = context()) present->masterVolume = volume;
}

void VolumeMixerOutput::setEqualiser(const AppEQSettings& settings) {
  equaliser_ = settings;
  const auto present = context();
  if (!present) return;
  present->outputEQCoefficients.copy(coefficients48k(settings));
  present->outputEQEnabled = settings.isEnabled;
}

double VolumeMixerOutput::deviceRate() const {
  if (!isRunning()) return kFallbackRate;
  return CoreAudioUtils::nominalRate(engine_.hardware(), boundDevice()).value_or(kFallbackRate);
}

}  // namespace sonmere
