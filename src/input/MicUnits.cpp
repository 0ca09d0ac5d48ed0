#include "input/MicUnits.h"

#include <fmt/format.h>

#include <cmath>

#include "audio/device/CoreAudioUtils.h"

namespace sonmere {

namespace {

using Kind = PassthroughError::Kind;
constexpr double kSameRateHz = 1.0;
// A block lasts some milliseconds; longer than that is a thread that stands still.
constexpr Duration kGateWait = fromMilliseconds(100);
constexpr Duration kTeardownWait = std::chrono::seconds(5);

std::unexpected<PassthroughError> failure(Kind kind, OSStatus status = noErr) {
  return std::unexpected(PassthroughError{kind, status});
}

// The first status of `steps` that is an error.
OSStatus firstFailure(std::initializer_list<std::function<OSStatus()>> steps) {
  for (const auto& step : steps)
    if (const OSStatus status = step(); status != noErr) return status;
  return noErr;
}

}  // namespace

bool MicRoute::isConverted() const { return std::abs(captureRate - bridgeRate) > kSameRateHz; }

MicUnits::MicUnits(EngineContext& context, std::shared_ptr<MicRenderState> state)
    : context_(context),
      state_(std::move(state)),
      retirement_(context.runtime),
      teardown_(context.runtime, context.log) {}

MicUnits::~MicUnits() {
  stop();
  if (!teardown_.drain(kTeardownWait)) context_.log.error("MicPassthroughEngine: a unit would not stop");
}

MicUnits::Made MicUnits::makeInput(const MicRoute& route) {
  AudioHardware& hardware = context_.platform.hardware();
  if (!hardware.hasOutputComponent()) return failure(Kind::componentNotFound);
  auto made = hardware.newOutputUnit();
  if (!made) return failure(Kind::audioUnitCreationFailed, made.error());
  OutputUnit& unit = **made;
  if (const OSStatus status = firstFailure({[&] { return unit.setEnableIO(AudioScope::input, true); },
                                            [&] { return unit.setEnableIO(AudioScope::output, false); },
                                            [&] { return unit.setCurrentDevice(route.input); }});
      status != noErr)
    return failure(Kind::deviceSetFailed, status);
  const auto native = unit.hardwareFormat(AudioScope::input);
  channels_ = native && native->channels > 0
                  ? int(native->channels)
                  : std::max(1, CoreAudioUtils::inputChannelCount(hardware, route.input));
  nativeRate_ = native ? native->sampleRate : route.captureRate;
  captureContext_ = std::make_shared<MicCaptureContext>(state_, channels_, route.captureRate);
  if (const OSStatus status = firstFailure(
          {[&] {
             return unit.setStreamFormat(AudioScope::output, {route.captureRate, std::uint32_t(channels_)});
           },
           [&] { return unit.setInputCallback(micInputCallback, captureContext_.get()); },
           [&] { return unit.setMaximumFramesPerSlice(kMicFramesPerSlice); },
           [&] { return unit.initialize(); }});
      status != noErr)
    return failure(Kind::startFailed, status);
  capture_ = std::move(*made);
  return {};
}

// What the ring holds is at the capture's rate: the unit converts it to the device's.
MicUnits::Made MicUnits::makeOutput(const MicRoute& route) {
  auto made = context_.platform.hardware().newOutputUnit();
  if (!made) return failure(Kind::audioUnitCreationFailed, made.error());
  OutputUnit& unit = **made;
  if (const OSStatus status = unit.setCurrentDevice(route.bridge); status != noErr)
    return failure(Kind::deviceSetFailed, status);
  bridgeContext_ = std::make_shared<MicBridgeContext>(state_);
  const double rate = route.isConverted() ? route.captureRate : route.bridgeRate;
  if (const OSStatus status =
          firstFailure({[&] {
                          return unit.setStreamFormat(AudioScope::input, {rate, 2});
                        },
                        [&] { return unit.setMaximumFramesPerSlice(kMicFramesPerSlice); },
                        [&] { return unit.setRenderCallback(micBridgeCallback, bridgeContext_.get()); },
                        [&] { return unit.initialize(); }});
      status != noErr)
    return failure(Kind::startFailed, status);
  output_ = std::move(*made);
  return {};
}

MicUnits::Made MicUnits::startBoth() {
  retirement_.addReader(captureContext_->gate.reader);
  captureContext_->unit = capture_.get();
  for (OutputUnit* const unit : {output_.get(), capture_.get()})
    if (const OSStatus status = unit->start(); status != noErr) return failure(Kind::startFailed, status);
  return {};
}

std::expected<void, PassthroughError> MicUnits::start(const MicRoute& route) {
  const auto log = [&](std::string line) { context_.log.info(std::move(line)); };
  route_ = route;
  state_->isConverted = route.isConverted();
  auto made = makeInput(route);
  if (made) {
    log(fmt::format(
        "ToneFerry: Mic native format - sampleRate={:.0f}, channels={}, bitsPerChannel=32, bridgeRate={:.0f}",
        nativeRate_, channels_, route.bridgeRate));
    log(fmt::format("mic start: input={} native={:f}Hz/{}ch capture@{:f}Hz bridge@{:f}Hz bridgeDev={}",
                    CoreAudioUtils::deviceName(context_.platform.hardware(), route.input).value_or("?"),
                    nativeRate_, channels_, route.captureRate, route.bridgeRate, route.bridge));
    made = makeOutput(route);
  }
  if (made) made = startBoth();
  if (!made) stop();
  return made;
}

void MicUnits::stop() {
  if (captureContext_) captureContext_->gate.close(context_.runtime, kGateWait);
  if (bridgeContext_) bridgeContext_->gate.close(context_.runtime, kGateWait);
  if (capture_) teardown_.dispose(std::move(capture_), std::move(captureContext_));
  if (output_) teardown_.dispose(std::move(output_), std::move(bridgeContext_));
  captureContext_.reset();
  bridgeContext_.reset();
}

}  // namespace sonmere
