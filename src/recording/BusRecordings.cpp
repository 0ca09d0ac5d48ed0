#include "recording/BusRecordings.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "audio/device/BusTable.h"
#include "recording/BridgeCapture.h"
#include "recording/RecordingFormatSetting.h"
#include "recording/RecordingTake.h"

namespace sonmere {

namespace {

constexpr Duration kStatusInterval = fromMilliseconds(500);
constexpr double kFallbackSampleRate = 48000;

std::string lastComponent(const std::string& path) { return std::filesystem::path(path).filename().string(); }

BusRecordingStatus statusOf(int bus, const Recorder& recorder) {
  return {bus,
          recorder.outputPath(),
          recorder.format(),
          recorder.startedAt(),
          recorder.bytesWritten(),
          recorder.framesWritten(),
          recorder.lostFrames(),
          recorder.lastPeak(),
          recorder.everHadSignal()};
}

}  // namespace

std::string BusRecordings::baseName(int bus) {
  return bus == 0 ? "Sonmere Recording" : "Sonmere Track " + std::to_string(bus - 1);
}

BusRecordings::BusRecordings(const RecordingContext& context, RecorderFeed& feed, Folder folder)
    : context_(context),
      feed_(feed),
      folder_(folder ? std::move(folder) : [own = RecordingsFolder(context)] { return own.current(); }),
      stops_(context.runtime),
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
  for (const int bus : rings_) feed_.setRecorderRing(bus, nullptr);
}

void BusRecordings::startRecordings(std::span<const int> buses, std::optional<RecordingFormat> format) {
  std::vector<int> wanted;
  std::ranges::copy_if(buses, std::back_inserter(wanted),
                       [this](int bus) { return isRoutableBus(bus) && !isRecording(bus); });
  if (wanted.empty()) return;
  auto recorders = makeRecorders(wanted, format.value_or(*defaultRecordingFormat));
  if (!recorders) return reportStartFailure(recorders.error());
  for (auto* notice : {&fileNotice, &lossNotice})
    if (notice->get()) notice->set(std::nullopt);
  for (auto& [bus, recorder] : *recorders) begin(bus, std::move(recorder));
}

std::optional<double> BusRecordings::recordingRate(int bus) const {
  const auto found = rings_.find(bus);
  if (found == rings_.end()) return std::nullopt;
  return busRecorders_.at(bus)->sampleRate();
}

Outcome<BusRecordings::Recorders> BusRecordings::makeRecorders(std::span<const int> buses,
                                                               RecordingFormat format) {
  const auto folder = folder_();
  if (!folder) return std::unexpected(folder.error());
  RecordingTake take(context_.runtime, *folder);
  Recorders made;
  for (const int bus : buses) {
    if (made.contains(bus)) continue;
    auto recorder = take.add(makeRecorder(bus, format, take));
    if (!recorder) return std::unexpected(recorder.error());
    made[bus] = std::move(*recorder);
  }
  return made;
}

Outcome<std::shared_ptr<Recorder>> BusRecordings::makeRecorder(int bus, RecordingFormat format,
                                                               const RecordingTake& take) {
  if (bus == kBridgeBus && context_.platform)
    return BridgeCapture::create(context_, *context_.platform,
                                 {format, baseName(bus), take.folder(), take.date()});
  const double rate = feed_.busSampleRate(bus);
  return BusRecorder::create(context_, {bus, format, rate > 0 ? rate : kFallbackSampleRate, baseName(bus),
                                        take.folder(), take.date()});
}

void BusRecordings::reportStartFailure(const Error& error) {
  errorMessage.set("Couldn't start recording: " + error.description);
  context_.log.error("Sonmere: BusRecorder init failed: " + error.description);
}

void BusRecordings::begin(int bus, std::shared_ptr<Recorder> recorder) {
  busRecorders_[bus] = recorder;
  if (const auto* const ofBus = dynamic_cast<const BusRecorder*>(recorder.get())) {
    rings_.insert(bus);
    feed_.setRecorderRing(bus, ofBus->ring());
  }
  busRecordingStatuses.update([&](auto& rows) { rows[bus] = statusOf(bus, *recorder); });
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
  if (rings_.erase(bus) > 0) feed_.setRecorderRing(bus, nullptr);
  busRecorders_.erase(found);
  busRecordingStatuses.update([&](auto& rows) { rows.erase(bus); });
  stopStatusTimerIfIdle();
  stops_.stop(recorder, [this, bus, recorder, done = std::move(done)] {
    const std::string path = recorder->outputPath();
    context_.log.info(fmt::format("Sonmere: stopped recording bus {} → {}", bus, lastComponent(path)));
    if (done) done(recorder->isFileGone() ? std::nullopt : std::optional(path));
  });
}

void BusRecordings::stopAllRecordings(std::function<void(std::vector<std::string>)> done) {
  const Recorders all = busRecorders_;
  for (const auto& [bus, recorder] : all) stopRecording(bus);
  stops_.whenNone([done = std::move(done), all] {
    std::vector<std::string> paths;
    for (const auto& [bus, recorder] : all)
      if (!recorder->isFileGone()) paths.push_back(recorder->outputPath());
    if (done) done(std::move(paths));
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

void BusRecordings::checkFiles() {
  std::vector<int> gone;
  for (const auto& [bus, recorder] : busRecorders_) {
    if (recorder->isFileGone()) {
      gone.push_back(bus);
      continue;
    }
    tellMove(bus, recorder->outputPath());
    recorder->checkFile();
  }
  for (const int bus : gone) continueInNewFile(bus);
}

void BusRecordings::tellMove(int bus, const std::string& path) {
  const std::string before = busRecordingStatuses->at(bus).path;
  if (path == before) return;
  context_.log.warning(fmt::format("Sonmere: recording {} was moved to {}", lastComponent(before), path));
  fileNotice.set(fmt::format("\"{}\" was moved while it was being recorded. The recording goes on in {}.",
                             lastComponent(before), path));
}

void BusRecordings::continueInNewFile(int bus) {
  const auto recorder = busRecorders_.at(bus);
  const std::string name = lastComponent(recorder->outputPath());
  context_.log.warning(fmt::format("Sonmere: recording {} was removed", name));
  stopRecording(bus);
  startRecording(bus, recorder->format());
  if (!isRecording(bus)) return;
  fileNotice.set(
      fmt::format("\"{}\" was removed while it was being recorded. The recording goes on in "
                  "\"{}\", without what was in it.",
                  name, lastComponent(busRecorders_.at(bus)->outputPath())));
}

void BusRecordings::statusTick() {
  checkFiles();
  const RecordingBitDepth depth = recordingBitDepth(context_.settings);
  busRecordingStatuses.update([&](auto& rows) {
    for (const auto& [bus, recorder] : busRecorders_) {
      recorder->setCountedBitDepth(depth);
      rows[bus] = statusOf(bus, *recorder);
    }
  });
  checkLosses();
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

void BusRecordings::checkLosses() {
  std::string losses;
  for (const auto& [bus, recorder] : busRecorders_)
    if (const std::int64_t lost = recorder->lostFrames(); lost > 0)
      losses += fmt::format("{}\"{}\" lacks {:.2f} s", losses.empty() ? "" : ", ",
                            lastComponent(recorder->outputPath()), double(lost) / recorder->sampleRate());
  if (losses.empty()) return;
  losses += ": the audio server left out cycles, or the drive was too slow.";
  if (lossNotice.get() != losses) lossNotice.set(losses);
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
