#include "input/MicUnits.h"

#include <fmt/format.h>

#include <cmath>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/Rates.h"

namespace sonmere {

namespace {

using Kind = PassthroughError::Kind;
// A block lasts some milliseconds; longer than that is a thread that stands still.
constexpr Duration kGateWait = fromMilliseconds(100);

std::unexpected<PassthroughError> failure(Kind kind, OSStatus status = noErr) {
  return std::unexpected(PassthroughError{kind, status});
}

// The first status of `steps` that is an error.
OSStatus firstFailure(std::initializer_list<std::function<OSStatus()>> steps) {
  for (const auto& step : steps)
    if (const OSStatus status = step(); status != noErr) return status;
  return noErr;
}

Kind kindOf(OutputStep step) {
  switch (step) {
    case OutputStep::findComponent:
      return Kind::componentNotFound;
    case OutputStep::createUnit:
      return Kind::audioUnitCreationFailed;
    case OutputStep::findDevice:
    case OutputStep::setDevice:
      return Kind::deviceSetFailed;
    default:
      return Kind::startFailed;
  }
}

// What the ring holds is at the capture's rate: the unit converts it to the device's.
OutputRunner::Plan planOf(const MicRoute& route, const std::shared_ptr<MicRenderState>& state) {
  return {.device = [&route] { return std::optional(route.bridge); },
          .rate = [&route](AudioDeviceID) { return std::optional(route.captureRate); },
          .callback = micBridgeCallback,
          .makeContext = [state](AudioDeviceID,
                                 double rate) { return std::make_shared<MicBridgeContext>(state, rate); }};
}

}  // namespace

bool MicRoute::isConverted() const { return std::abs(captureRate - bridgeRate) > kSameRateHz; }

MicUnits::MicUnits(EngineContext& context, std::shared_ptr<MicRenderState> state)
    : context_(context), state_(std::move(state)), output_(context.rendering, planOf(route_, state_)) {}

MicUnits::~MicUnits() {
  stop();
  context_.rendering.waitForTeardown();
}

MicUnits::Made MicUnits::makeInput() {
  AudioHardware& hardware = context_.hardware();
  if (!hardware.hasOutputComponent()) return failure(Kind::componentNotFound);
  auto made = hardware.newOutputUnit();
  if (!made) return failure(Kind::audioUnitCreationFailed, made.error());
  OutputUnit& unit = **made;
  if (const OSStatus status = firstFailure({[&] { return unit.setEnableIO(AudioScope::input, true); },
                                            [&] { return unit.setEnableIO(AudioScope::output, false); },
                                            [&] { return unit.setCurrentDevice(route_.input); }});
      status != noErr)
    return failure(Kind::deviceSetFailed, status);
  const auto initialized = initializeInput(unit);
  if (initialized) capture_ = std::move(*made);
  return initialized;
}

MicUnits::Made MicUnits::initializeInput(OutputUnit& unit) {
  const auto native = unit.hardwareFormat(AudioScope::input);
  const int listed = CoreAudioUtils::inputChannelCount(context_.hardware(), route_.input);
  channels_ = native && native->channels > 0 ? int(native->channels) : std::max(1, listed);
  nativeRate_ = native ? native->sampleRate : route_.captureRate;
  captureContext_ = std::make_shared<MicCaptureContext>(state_, channels_, route_.captureRate);
  const AudioStreamFormat format{route_.captureRate, std::uint32_t(channels_)};
  const OSStatus status = firstFailure(
      {[&] { return unit.setStreamFormat(AudioScope::output, format); },
       [&] { return unit.setInputCallback(micInputCallback, captureContext_.get()); },
       [&] { return unit.setMaximumFramesPerSlice(kMicFramesPerSlice); }, [&] { return unit.initialize(); }});
  return status == noErr ? Made() : failure(Kind::startFailed, status);
}

MicUnits::Made MicUnits::startBoth() {
  if (const auto started = output_.start(); !started)
    return failure(kindOf(started.error().step), started.error().status);
  context_.rendering.retirement.addReader(captureContext_->gate.reader);
  captureContext_->unit = capture_.get();
  const OSStatus status = capture_->start();
  return status == noErr ? Made() : failure(Kind::startFailed, status);
}

std::expected<void, PassthroughError> MicUnits::start(const MicRoute& route) {
  const auto log = [&](std::string line) { context_.log.info(std::move(line)); };
  route_ = route;
  state_->isConverted = route.isConverted();
  auto made = makeInput();
  if (made) {
    log(
        fmt::format("ToneFerry: Mic native format - sampleRate={:.0f}, channels={}, bitsPerChannel=32, "
                    "bridgeRate={:.0f}",
                    nativeRate_, channels_, route.bridgeRate));
    log(fmt::format("mic start: input={} native={:f}Hz/{}ch capture@{:f}Hz bridge@{:f}Hz bridgeDev={}",
                    CoreAudioUtils::deviceName(context_.hardware(), route.input).value_or("?"), nativeRate_,
                    channels_, route.captureRate, route.bridgeRate, route.bridge));
    made = startBoth();
  }
  if (!made) stop();
  return made;
}

void MicUnits::stop() {
  if (captureContext_) captureContext_->gate.close(context_.runtime, kGateWait);
  if (const auto& context = output_.context())
    static_cast<MicBridgeContext&>(*context).gate.close(context_.runtime, kGateWait);
  if (capture_) context_.rendering.teardown.dispose(std::move(capture_), std::move(captureContext_));
  captureContext_.reset();
  output_.stop();
}

}  // namespace sonmere
