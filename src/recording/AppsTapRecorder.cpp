#include "recording/AppsTapRecorder.h"

#include <fmt/format.h>

#include <cmath>

#include "audio/device/AudioBuffers.h"
#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/Rates.h"
#include "base/UUID.h"

namespace sonmere {

namespace {

// Sounds of the system's calls, which belong to no program.
constexpr std::string_view kConferencing = "com.apple.avconferenced";

Error tapError(std::int64_t code, std::string text) {
  return {AppsTapRecorder::kWriterName, code, std::move(text)};
}

const char* nameOf(TapAggregateStep step) {
  switch (step) {
    case TapAggregateStep::createTap:
      return "AudioHardwareCreateProcessTap failed";
    case TapAggregateStep::readTapUID:
      return "kAudioTapPropertyUID query failed";
    case TapAggregateStep::createAggregate:
      return "AudioHardwareCreateAggregateDevice failed";
    case TapAggregateStep::createIOProc:
      return "AudioDeviceCreateIOProcID failed";
    case TapAggregateStep::startDevice:
      return "AudioDeviceStart failed";
  }
  return "";
}

bool isConferencing(const Result<std::string>& bundleID) {
  return bundleID && std::string_view(*bundleID) == kConferencing;
}

struct Processes {
  bool hasAudible = false;
  std::vector<AudioObjectID> leftOut;  // this program and what belongs to no other
};

Processes look(Platform& platform) {
  AudioHardware& hardware = platform.hardware();
  const ProcessID own = platform.applications().ownPID();
  Processes found;
  if (const auto self = hardware.processForPID(own); self && *self != kAudioObjectUnknown)
    found.leftOut.push_back(*self);
  for (const AudioObjectID process : hardware.processObjects().value_or(std::vector<AudioObjectID>())) {
    const ProcessID pid = hardware.processPID(process).value_or(0);
    if (pid <= 0 || pid == own) continue;
    if (isConferencing(hardware.processBundleID(process)))
      found.leftOut.push_back(process);
    else
      found.hasAudible = true;
  }
  return found;
}

}  // namespace

// The capture: its objects, and what its procedure works on.
class AppsTapRecorder::Tap {
 public:
  Tap(Runtime& runtime, AudioHardware& hardware) : runtime_(runtime), hardware_(hardware) {}
  ~Tap() { destroyTapAggregate(hardware_, objects_); }

  const std::shared_ptr<RecorderRing>& ring() const { return ring_; }

  // All programs but these: one that begins to play during the take is in it.
  Outcome<void> start(std::vector<AudioObjectID> leftOut, double rate) {
    TapAggregatePlan plan;
    plan.tap = {.name = "Sonmere Apps Capture",
                .processes = std::move(leftOut),
                .isPrivate = true,
                .exclusive = true,
                .mute = TapMute::unmuted};
    plan.aggregateUID = "Sonmere_SeparateApps_" + makeShortUUID(runtime_);
    plan.aggregateName = "Sonmere Separate-Tracks Apps Capture";
    plan.procedure = procedure;
    plan.clientData = this;
    plan.beforeSettling = [&](AudioDeviceID aggregate) {
      if (std::abs(rateOf(aggregate) - rate) >= kSameRateHz) hardware_.setNominalSampleRate(aggregate, rate);
    };
    plan.afterSettling = [&](AudioDeviceID aggregate) { followRate(aggregate); };
    const auto made = buildTapAggregate(hardware_, runtime_, plan);
    if (!made)
      return std::unexpected(tapError(made.error().status,
                                      fmt::format("{}: {}", nameOf(made.error().step), made.error().status)));
    objects_ = *made;
    return {};
  }

 private:
  double rateOf(AudioDeviceID aggregate) const {
    return CoreAudioUtils::nominalRate(hardware_, aggregate).value_or(0);
  }

  // Where the rate can't be had, or does not last.
  void followRate(AudioDeviceID aggregate) {
    rate_ = rateOf(aggregate);
    rateListener_.listen(hardware_, aggregate, AudioProperty::nominalSampleRate, runtime_.mainQueue(),
                         [this, aggregate] { rate_ = rateOf(aggregate); });
  }

  static OSStatus procedure(void* clientData, const AudioTimeStamp& now, AudioBufferList input,
                            AudioBufferList output) noexcept SONMERE_NONBLOCKING;

  Runtime& runtime_;
  AudioHardware& hardware_;
  const std::shared_ptr<RecorderRing> ring_ = std::make_shared<RecorderRing>();
  RTScalar<double> rate_{0.0};  // Hz, of what is captured; 0: unknown
  TapAggregate objects_;
  PropertyListener rateListener_;
};

OSStatus AppsTapRecorder::Tap::procedure(void* clientData, const AudioTimeStamp& now, AudioBufferList input,
                                         AudioBufferList output) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  Tap& tap = *static_cast<Tap*>(clientData);
  constexpr std::uint32_t kMostBytes = std::uint32_t(kRecorderRingSamples) * 4;
  const AudioBuffer* const buffer = firstFilled(input);
  if (buffer && buffer->byteSize <= kMostBytes) {
    const std::int64_t frames = buffer->byteSize / 8;
    const std::int64_t before = tap.ring_->start.framesBefore(now.hostTime, tap.rate_, frames);
    tap.ring_->noteRate(tap.rate_);
    tap.ring_->writeStereo(buffer->data + 2 * before, frames - before);
  }
  silence(output);
  return noErr;
}

Outcome<std::shared_ptr<AppsTapRecorder>> AppsTapRecorder::create(const RecordingContext& context,
                                                                  Platform& platform,
                                                                  const Request& request) {
  Processes processes = look(platform);
  if (!processes.hasAudible)
    return std::unexpected(
        tapError(kNobodyAudible,
                 "No audible processes found to record. Start playing audio in an app, then try again."));
  auto tap = std::make_unique<Tap>(context.runtime, platform.hardware());
  tap->ring()->start.line = request.startLine;
  if (const auto started = tap->start(std::move(processes.leftOut), request.rate); !started)
    return std::unexpected(started.error());
  const auto file = RecorderFile::create(
      context, {kWriterName, kQueueLabel, RecordingFormat::wav, request.rate, request.name, request.folder,
                request.sessionDate, 2, request.options, true});
  if (!file) return std::unexpected(file.error());
  return std::shared_ptr<AppsTapRecorder>(new AppsTapRecorder(context, *file, std::move(tap)));
}

bool AppsTapRecorder::isAnyAudible(Platform& platform) { return look(platform).hasAudible; }

AppsTapRecorder::AppsTapRecorder(const RecordingContext& context, const std::shared_ptr<RecorderFile>& file,
                                 std::unique_ptr<Tap> tap)
    : RingRecorder(context, file, tap->ring(), kReliefQueueLabel), tap_(std::move(tap)) {}

AppsTapRecorder::~AppsTapRecorder() = default;

void AppsTapRecorder::stop(Task done) {
  tap_.reset();
  RingRecorder::stop(std::move(done));
}

}  // namespace sonmere
