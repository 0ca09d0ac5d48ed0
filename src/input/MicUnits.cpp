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

std::expected<void, PassthroughError> asPassthrough(const std::expected<void, OutputFailure>& done) {
  if (done) return {};
  return std::unexpected(PassthroughError{kindOf(done.error().step), done.error().status});
}

}  // namespace

bool MicRoute::isConverted() const { return std::abs(captureRate - bridgeRate) > kSameRateHz; }

MicUnits::MicUnits(EngineContext& context, std::shared_ptr<MicRenderState> state)
    : context_(context),
      state_(std::move(state)),
      capture_(context.rendering, capturePlan()),
      output_(context.rendering, planOf(route_, state_)) {}

MicUnits::~MicUnits() {
  stop();
  context_.rendering.waitForTeardown();
}

InputRunner::Plan MicUnits::capturePlan() {
  return {
      .callback = micInputCallback,
      .framesPerSlice = kMicFramesPerSlice,
      .format = [this](const OutputUnit& unit, AudioDeviceID device) { return captureFormat(unit, device); },
      .makeContext =
          [state = state_](const AudioStreamFormat& format) {
            return std::make_shared<MicCaptureContext>(state, int(format.channels), format.sampleRate);
          }};
}

// As many channels as the device has.
AudioStreamFormat MicUnits::captureFormat(const OutputUnit& unit, AudioDeviceID device) {
  const auto native = unit.hardwareFormat(AudioScope::input);
  const int listed = CoreAudioUtils::inputChannelCount(context_.hardware(), device);
  channels_ = native && native->channels > 0 ? int(native->channels) : std::max(1, listed);
  nativeRate_ = native ? native->sampleRate : route_.captureRate;
  return {route_.captureRate, std::uint32_t(channels_)};
}

MicUnits::Made MicUnits::startBoth() {
  if (const auto started = output_.start(); !started) return asPassthrough(started);
  return asPassthrough(capture_.start());
}

std::expected<void, PassthroughError> MicUnits::start(const MicRoute& route) {
  const auto log = [&](std::string line) { context_.log.info(std::move(line)); };
  route_ = route;
  state_->isConverted = route.isConverted();
  auto made = asPassthrough(capture_.make(route.input));
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
  if (const auto& context = capture_.context())
    static_cast<MicCaptureContext&>(*context).gate.close(context_.runtime, kGateWait);
  if (const auto& context = output_.context())
    static_cast<MicBridgeContext&>(*context).gate.close(context_.runtime, kGateWait);
  capture_.stop();
  output_.stop();
}

}  // namespace sonmere
