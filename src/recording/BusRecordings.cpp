#include "recording/BusRecordings.h"

#include <fmt/format.h>

#include <filesystem>

#include "audio/device/BusTable.h"
#include "recording/RecordingFormatSetting.h"

namespace sonmere {

namespace {

constexpr Duration kStatusInterval = fromMilliseconds(500);
constexpr double kFallbackSampleRate = 48000;

std::string lastComponent(const std::string& path) { return std::filesystem::path(path).filename().string(); }

BusRecordingStatus statusOf(const BusRecorder& recorder) {
  return {recorder.busIndex(),     recorder.outputPath(),    recorder.format(),    recorder.startedAt(),
          recorder.bytesWritten(), recorder.framesWritten(), recorder.lostFrames()};
}

}  // namespace

std::string BusRecordings::baseName(int bus) {
  return bus == 0 ? "Sonmere Recording" : "Sonmere Track " + std::to_string(bus - 1);
}

BusRecordings::BusRecordings(const RecordingContext& context, RecorderFeed& feed, Folder folder)
    : context_(context),
      feed_(feed),
      folder_(folder ? std::move(folder) : [own = RecordingsFolder(context)] { return own.current(); }),
      writeFailures_(
          context.notifications.observe(RecordingHealth::kWriteFailed, [this](const NotificationInfo& info) {
            const auto reason = info.find("reason");
            if (reason != info.end()) handleRecordingFailure(reason->second);
          })) {
  defaultRecordingFormat.set(storedRecordingFormat(context_.settings).value_or(RecordingFormat::wav));
  formatChanges_ = defaultRecordingFormat.observe([this](RecordingFormat format) {
    context_.settings.set(kRecordingFormatKey, std::string(name(format)));
  });
}

BusRecordings::~BusRecordings() {
  for (const auto& [bus, recorder] : busRecorders_) feed_.setRecorderRing(bus, nullptr);
}

void BusRecordings::startRecording(int bus, std::optional<RecordingFormat> format) {
  if (!isRoutableBus(bus) || isRecording(bus)) return;
  auto recorder = makeRecorder(bus, format.value_or(*defaultRecordingFormat));
  if (!recorder) return reportStartFailure(recorder.error());
  begin(bus, std::move(*recorder));
}

std::optional<double> BusRecordings::recordingRate(int bus) const {
  const auto found = busRecorders_.find(bus);
  if (found == busRecorders_.end()) return std::nullopt;
  return found->second->sampleRate();
}

Outcome<std::shared_ptr<BusRecorder>> BusRecordings::makeRecorder(int bus, RecordingFormat format) {
  const auto folder = folder_();
  if (!folder) return std::unexpected(folder.error());
  const double busRate = feed_.busSampleRate(bus);
  return BusRecorder::create(
      context_, {bus, format, busRate > 0 ? busRate : kFallbackSampleRate, baseName(bus), *folder});
}

void BusRecordings::reportStartFailure(const Error& error) {
  errorMessage.set("Couldn't start recording: " + error.description);
  context_.log.error("Sonmere: BusRecorder init failed: " + error.description);
}

void BusRecordings::begin(int bus, std::shared_ptr<BusRecorder> recorder) {
  busRecorders_[bus] = recorder;
  feed_.setRecorderRing(bus, recorder->ring());
  busRecordingStatuses.update([&](auto& rows) { rows[bus] = statusOf(*recorder); });
  startStatusTimer();
  context_.log.info(
      fmt::format("Sonmere: started recording bus {} → {}", bus, lastComponent(recorder->outputPath())));
}

void BusRecordings::stopRecording(int bus, std::function<void(std::optional<std::string>)> done) {
  const auto found = busRecorders_.find(bus);
  if (found == busRecorders_.end()) {
    if (done) context_.runtime.mainQueue().post([done = std::move(done)] { done(std::nullopt); });
    return;
  }
  const auto recorder = found->second;
  feed_.setRecorderRing(bus, nullptr);
  busRecorders_.erase(found);
  busRecordingStatuses.update([&](auto& rows) { rows.erase(bus); });
  stopStatusTimerIfIdle();
  ++stopping_;
  const std::string path = recorder->outputPath();
  recorder->stop([this, alive = std::weak_ptr(alive_), bus, path, done = std::move(done)] {
    if (alive.expired()) return;
    --stopping_;
    context_.log.info(fmt::format("Sonmere: stopped recording bus {} → {}", bus, lastComponent(path)));
    if (done) done(path);
    if (!alive.expired()) tellIfNoneStops();
  });
}

void BusRecordings::tellIfNoneStops() {
  if (stopping_ > 0) return;
  for (const Task& task : std::exchange(whenNoneStops_, {})) task();
}

void BusRecordings::whenNoneStops(Task done) {
  if (stopping_ > 0) return whenNoneStops_.push_back(std::move(done));
  context_.runtime.mainQueue().post([alive = std::weak_ptr(alive_), done = std::move(done)] {
    if (!alive.expired()) done();
  });
}

void BusRecordings::stopAllRecordings(std::function<void(std::vector<std::string>)> done) {
  std::vector<int> buses;
  std::vector<std::string> paths;
  for (const auto& [bus, recorder] : busRecorders_) {
    buses.push_back(bus);
    paths.push_back(recorder->outputPath());
  }
  for (const int bus : buses) stopRecording(bus);
  whenNoneStops([done = std::move(done), paths = std::move(paths)] {
    if (done) done(paths);
  });
}

void BusRecordings::handleRecordingFailure(const std::string& reason) {
  if (std::exchange(handlingWriteFailure_, true)) return;
  errorMessage.set("Recording stopped: " + reason);
  context_.log.error("Sonmere: recording auto-stopped — " + reason);
  stopAllRecordings([this](const auto&) { handlingWriteFailure_ = false; });
}

void BusRecordings::startStatusTimer() {
  if (!statusTimer_)
    statusTimer_ = context_.runtime.mainQueue().repeat(kStatusInterval, [this] { statusTick(); });
}

void BusRecordings::stopStatusTimerIfIdle() {
  if (isAnyRecording()) return;
  statusTimer_.cancel();
  watch_.clear();
  if (silentRecordingNotice.get()) silentRecordingNotice.set(std::nullopt);
}

void BusRecordings::statusTick() {
  const RecordingBitDepth depth = recordingBitDepth(context_.settings);
  busRecordingStatuses.update([&](auto& rows) {
    for (const auto& [bus, recorder] : busRecorders_) {
      recorder->setCountedBitDepth(depth);
      rows[bus] = statusOf(*recorder);
    }
  });
  const auto active = activeFiles();
  if (!checkStall(active)) checkSilence(active);
}

std::vector<RecordingWatch::Active> BusRecordings::activeFiles() const {
  std::vector<RecordingWatch::Active> active;
  for (const auto& [bus, recorder] : busRecorders_)
    active.push_back({lastComponent(recorder->outputPath()), recorder->framesWritten(),
                      recorder->sampleRate(), recorder->everHadSignal(), recorder->framesWaiting()});
  return active;
}

bool BusRecordings::checkStall(const std::vector<RecordingWatch::Active>& active) {
  const auto stalled = watch_.stalledFile(active, context_.runtime.uptime());
  if (!stalled) return false;
  handleRecordingFailure(fmt::format(
      "\"{}\" stopped receiving audio (device disconnected, source app quit, or the system slept). "
      "Files were saved up to the stall.",
      *stalled));
  return true;
}

void BusRecordings::checkSilence(const std::vector<RecordingWatch::Active>& active) {
  while (const auto silent = watch_.newlySilent(active)) {
    context_.log.warning(fmt::format("Sonmere: silent recording — {} ({:.0f} s, no signal yet)", silent->file,
                                     silent->seconds));
    silentRecordingNotice.set(fmt::format(
        "\"{}\" has been silent since it began ({:.0f} s). Nothing is reaching it. Check that System Audio "
        "Passthrough is on if you are recording apps, and that Input Device is a physical input (a "
        "microphone "
        "or audio interface), not a virtual device. The recording keeps running.",
        silent->file, silent->seconds));
  }
}

}  // namespace sonmere
