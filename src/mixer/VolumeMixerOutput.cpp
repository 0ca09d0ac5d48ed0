#include "mixer/VolumeMixerOutput.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/Rates.h"
#include "audio/engine/SettleTimes.h"
#include "mixer/VolumeMixerRender.h"

namespace sonmere {

namespace {

constexpr Duration kWatchdogInterval = std::chrono::seconds(1);
// A unit that has not rendered for this long is stuck: no device has blocks as long.
constexpr std::uint64_t kStalledNs = 2'000'000'000;
// Restarts that don't help come at twice the distance each, up to a minute.
constexpr std::uint64_t kFirstRestartDistanceNs = 2'000'000'000;
constexpr int kMostDoublings = 5;

}  // namespace

VolumeMixerOutput::VolumeMixerOutput(EngineContext& context, const Taps& taps)
    : engine_(context), taps_(taps), retirement_(context.rendering.retirement) {}

VolumeMixerOutput::~VolumeMixerOutput() {
  stopListening();
  teardown();
  engine_.rendering.waitForTeardown();
}

// Building.

std::expected<VolumeMixerOutput::Built, std::string> VolumeMixerOutput::make() {
  const auto fail = [](const char* what, OSStatus status) {
    return std::unexpected(fmt::format("Failed to {} ({}).", what, status));
  };
  AudioHardware& hardware = engine_.hardware();
  if (!hardware.hasOutputComponent()) return std::unexpected("Audio system component not found.");
  auto unit = hardware.newOutputUnit();
  if (!unit) return fail("create audio output", unit.error());
  const auto device = CoreAudioUtils::defaultOutput(hardware);
  if (!device) return std::unexpected("No system default output device.");

  Built built{nullptr, std::move(*unit), *device};
  if (const OSStatus status = built.unit->setCurrentDevice(*device); status != noErr)
    return fail("bind audio output", status);
  const double rate = CoreAudioUtils::nominalRate(hardware, *device).value_or(kFallbackRate);
  engine_.log.info(fmt::format("Volume Mixer output rate: {:f} Hz (device id={})", rate, *device));
  if (const OSStatus status = built.unit->setStreamFormat(AudioScope::input, {rate, 2}); status != noErr)
    return fail("set audio output format", status);
  built.context = std::make_shared<VolumeMixerOutputContext>(engine_.flags, hardware, rate);
  retirement_.addReader(built.context->reader);
  publishTaps(*built.context);
  if (const OSStatus status = built.unit->setRenderCallback(renderVolumeMixer, built.context.get());
      status != noErr)
    return fail("install render callback", status);
  if (const OSStatus status = built.unit->initialize(); status != noErr)
    return fail("initialize audio output", status);
  for (const auto& [bundleID, tap] : taps_) tap->startLive = true;
  if (const OSStatus status = built.unit->start(); status != noErr) {
    built.unit->uninitialize();
    return fail("start audio output", status);
  }
  return built;
}

std::optional<std::string> VolumeMixerOutput::build() {
  if (unit_) return std::nullopt;
  auto built = make();
  if (!built) return built.error();
  context_ = std::move(built->context);
  unit_ = std::move(built->unit);
  boundDevice_ = built->device;
  context_->lastRenderHostTime = engine_.hardware().hostTime();
  listenToBoundDevice();
  watch();
  return std::nullopt;
}

void VolumeMixerOutput::teardown() {
  boundRateListener_.stop();
  boundAliveListener_.stop();
  renderWatchdog_.cancel();
  if (unit_) {
    context_->retired = true;
    engine_.rendering.teardown.dispose(std::move(unit_), context_);
  }
  context_.reset();
  boundDevice_ = kAudioObjectUnknown;
}

// What the render reads.

void VolumeMixerOutput::publishTaps(VolumeMixerOutputContext& context) {
  auto snapshot = std::make_shared<VolumeMixerSnapshot>();
  for (const auto& [bundleID, tap] : taps_) snapshot->taps.push_back(tap);
  const auto& published = context.tapsSnapshot.current();
  if (!published || published->taps != snapshot->taps)
    context.tapsSnapshot.publish(std::move(snapshot), retirement_, kSnapshotGrace);
  context.masterVolume = masterVolume_;
  context.outputEQCoefficients.copy(coefficients48k(equaliser_));
  context.outputEQEnabled = equaliser_.isEnabled;
}

void VolumeMixerOutput::refreshSnapshot() {
  if (context_) publishTaps(*context_);
}

void VolumeMixerOutput::setMasterVolume(float volume) {
  masterVolume_ = volume;
  if (context_) context_->masterVolume = volume;
}

void VolumeMixerOutput::setEqualiser(const AppEQSettings& settings) {
  equaliser_ = settings;
  if (!context_) return;
  context_->outputEQCoefficients.copy(coefficients48k(settings));
  context_->outputEQEnabled = settings.isEnabled;
}

double VolumeMixerOutput::deviceRate() const {
  if (boundDevice_ == kAudioObjectUnknown) return kFallbackRate;
  return CoreAudioUtils::nominalRate(engine_.hardware(), boundDevice_).value_or(kFallbackRate);
}

// Listening.

void VolumeMixerOutput::listen(PropertyListener& listener, AudioObjectID object, AudioProperty property,
                               void (VolumeMixerOutput::*handler)()) {
  listener.listen(engine_.hardware(), object, property, engine_.runtime.mainQueue(),
                  [this, handler] { (this->*handler)(); });
}

void VolumeMixerOutput::listenToBoundDevice() {
  listen(boundRateListener_, boundDevice_, AudioProperty::nominalSampleRate,
         &VolumeMixerOutput::boundDeviceChanged);
  listen(boundAliveListener_, boundDevice_, AudioProperty::isAlive, &VolumeMixerOutput::boundDeviceChanged);
}

// The unit was built for one device at one rate.
void VolumeMixerOutput::boundDeviceChanged() {
  if (!unit_) return;
  AudioHardware& hardware = engine_.hardware();
  const auto rate = CoreAudioUtils::nominalRate(hardware, boundDevice_);
  const bool isSameRate = rate && std::abs(*rate - context_->sampleRate) <= kSameRateHz;
  if (isSameRate && hardware.isAlive(boundDevice_).value_or(false)) return;
  if (wantsRebuild) wantsRebuild(settleTimes(hardware).change);
}

// A listener that could not be added is tried again by the watchdog; what it missed shows then.
void VolumeMixerOutput::startListening() {
  isListening_ = true;
  if (!defaultOutputListener_) {
    listen(defaultOutputListener_, kAudioObjectSystemObject, AudioProperty::defaultOutput,
           &VolumeMixerOutput::defaultOutputChanged);
    if (defaultOutputListener_) defaultOutputChanged();
  }
  if (!restartListener_)
    listen(restartListener_, kAudioObjectSystemObject, AudioProperty::serviceRestarted,
           &VolumeMixerOutput::serverCameBack);
}

void VolumeMixerOutput::stopListening() {
  isListening_ = false;
  defaultOutputListener_.stop();
  restartListener_.stop();
}

void VolumeMixerOutput::serverCameBack() {
  if (isListening_ && serviceRestarted) serviceRestarted();
}

void VolumeMixerOutput::defaultOutputChanged() {
  if (!isListening_ || (unit_ && CoreAudioUtils::defaultOutput(engine_.hardware()) == boundDevice_)) return;
  if (wantsRebuild) wantsRebuild(settleTimes(engine_.hardware()).change);
}

// The watchdog.

void VolumeMixerOutput::watch() {
  watchedRenderTime_ = context_->lastRenderHostTime;
  renderWatchdog_ = engine_.runtime.mainQueue().repeat(kWatchdogInterval, [this] { checkRender(); });
}

// Stuck only if two looks in a row find the same late render: after a stop of the whole process the first
// look may come before the unit's next block.
void VolumeMixerOutput::checkRender() {
  if (isListening_) startListening();
  if (!unit_) return;
  const std::uint64_t now = engine_.hardware().hostTime();
  const std::uint64_t rendered = context_->lastRenderHostTime;
  const bool hasMoved = std::exchange(watchedRenderTime_, rendered) != rendered;
  if (hasMoved || now < rendered + kStalledNs) {
    if (hasMoved) consecutiveWatchdogRestarts_ = 0;
    return;
  }
  if (consecutiveWatchdogRestarts_ > 0 && now < nextWatchdogRestartAt_) return;
  nextWatchdogRestartAt_ =
      now + (kFirstRestartDistanceNs << std::min(consecutiveWatchdogRestarts_, kMostDoublings));
  ++consecutiveWatchdogRestarts_;
  engine_.log.warning(fmt::format("Volume Mixer output has not rendered for {:.1f} s: restart {}",
                                  double(now - rendered) / 1e9, consecutiveWatchdogRestarts_));
  if (wantsRebuild) wantsRebuild(Duration::zero());
}

}  // namespace sonmere
