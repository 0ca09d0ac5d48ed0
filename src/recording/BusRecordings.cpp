#include "recording/BusRecordings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iterator>

#include "base/ThreadRules.h"
#include "recording/RecordedSource.h"
#include "recording/RecordingFormatSetting.h"

namespace sonmere {

namespace {

constexpr Duration kStatusInterval = fromMilliseconds(500);
// Of the devices that there are: 2048 frames at 44.1 kHz.
constexpr Duration kLongestCycle = fromMilliseconds(50);

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

BusRecordings::BusRecordings(const RecordingContext& context, RecorderFeed& feed, Folder folder,
                             MicRecorderFeed* mic)
    : context_(context),
      maker_(context_, feed, mic),
      folder_(folder ? std::move(folder) : [own = RecordingsFolder(context)] { return own.current(); }),
      stops_(context.runtime),
      writeFailures_(
          context.notifications.observe(RecordingHealth::kWriteFailed, [this](const NotificationInfo& info) {
            const auto reason = info.find("reason");
            if (reason != info.end()) handleRecordingFailure(reason->second);
          })) {
  defaultRecordingFormat.set(storedRecordingFormat(context_.settings).value_or(RecordingFormat::wav));
}

void BusRecordings::setDefaultRecordingFormat(RecordingFormat format) {
  assertMain();
  context_.settings.set(kRecordingFormatKey, std::string(name(format)));
  defaultRecordingFormat.set(format);
}

BusRecordings::~BusRecordings() {
  for (const auto& [source, running] : running_)
    if (running.detach) running.detach();
}

void BusRecordings::startRecordings(std::span<const int> sources, std::optional<RecordingFormat> format) {
  assertMain();
  std::vector<int> wanted;
  std::ranges::copy_if(sources, std::back_inserter(wanted),
                       [this](int source) { return isRecordableSource(source) && !isRecording(source); });
  if (wanted.empty()) return;
  const auto folder = folder_();
  if (!folder)
    return reportStartFailure({"Couldn't start recording: " + folder.error().description,
                               "Sonmere: BusRecorder init failed: " + folder.error().description});
  auto made = maker_.make(wanted, format.value_or(*defaultRecordingFormat), *folder, isRecording(kMicSource));
  if (!made) return reportStartFailure(made.error());
  for (auto* notice : {&fileNotice, &lossNotice})
    if (notice->get()) notice->set(std::nullopt);
  for (const PreparedRecorder& prepared : *made) begin(prepared);
  drawStartLine(*made);
  tellStart(*made);
}

// Where captures of their own stand beside one another, it lies behind the cycles that are under way: each
// has then heard what comes right before.
void BusRecordings::drawStartLine(const std::vector<PreparedRecorder>& begun) {
  const auto& line = begun.front().startLine;
  if (!line) return;
  const bool hasCapture = std::ranges::any_of(begun, [](const auto& each) { return !each.boundRate; });
  const Duration ahead = begun.size() > 1 && hasCapture ? kLongestCycle : Duration::zero();
  const std::uint64_t now = context_.platform->hardware().hostTime();
  line->hostTime = std::max<std::uint64_t>(now + std::uint64_t(ahead.count()), 1);  // the first instant is 0
}

std::optional<double> BusRecordings::recordingRate(int bus) const {
  const auto found = running_.find(bus);
  return found == running_.end() ? std::nullopt : found->second.boundRate;
}

void BusRecordings::reportStartFailure(const RecorderMaker::Failure& failure) {
  errorMessage.set(failure.message);
  if (!failure.line.empty()) context_.log.error(failure.line);
}

void BusRecordings::begin(const PreparedRecorder& prepared) {
  running_[prepared.source] = prepared;
  if (prepared.attach) prepared.attach();
  busRecordingStatuses.update(
      [&](auto& rows) { rows[prepared.source] = statusOf(prepared.source, *prepared.recorder); });
  startStatusTimer();
}

void BusRecordings::tellStart(const std::vector<PreparedRecorder>& begun) {
  const auto nameOf = [&](int source) {
    const auto found = std::ranges::find(begun, source, &PreparedRecorder::source);
    return found == begun.end() ? std::string("off") : lastComponent(found->recorder->outputPath());
  };
  const bool isSession = std::ranges::any_of(begun, &PreparedRecorder::isSide);
  for (const PreparedRecorder& each : begun) {
    const std::string file = nameOf(each.source);
    if (each.source == kBridgeBus && isSession)
      context_.log.info(fmt::format("Sonmere: started Separate Tracks recording (master={}, mic={}, apps={})",
                                    file, nameOf(kMicSource), nameOf(kAppsSource)));
    else if (each.source == kBridgeBus && !each.boundRate)
      context_.log.info("Sonmere: started bridge-capture for bus 0 → " + file);
    else if (each.source == kMicSource && !each.isSide())
      context_.log.info("Sonmere: started mic side-recording → " + file);
    else if (!each.isSide())
      context_.log.info(fmt::format("Sonmere: started recording bus {} → {}", each.source, file));
  }
}

// What is told of one that was stopped, once its file is complete.
void BusRecordings::tellStop(const PreparedRecorder& ended, std::size_t sides) {
  const std::string file = lastComponent(ended.recorder->outputPath());
  if (ended.source == kMicSource)
    context_.log.info("Sonmere: stopped mic side-recording → " + file);
  else if (ended.source == kBridgeBus && !ended.boundRate)
    context_.log.info(
        fmt::format("Sonmere: stopped bridge-capture bus 0 → {} (+{} side files)", file, sides));
  else
    context_.log.info(fmt::format("Sonmere: stopped recording bus {} → {}", ended.source, file));
}

std::vector<int> BusRecordings::takeOf(int source) const {
  const auto found = running_.find(source);
  if (found == running_.end()) return {};
  const int lead = found->second.lead;
  std::vector<int> all{lead};
  for (const auto& [other, running] : running_)
    if (running.lead == lead && other != lead) all.push_back(other);
  return all;
}

void BusRecordings::stopRecording(int source, std::function<void(std::optional<std::string>)> done) {
  assertMain();
  stopTake(source, [source, done = std::move(done)](const Stopped& stopped) {
    if (!done) return;
    const auto own = std::ranges::find(stopped, source, &StoppedFile::source);
    done(own == stopped.end() ? std::nullopt : own->path);
  });
}

void BusRecordings::stopTake(int source, std::function<void(const Stopped&)> done) {
  assertMain();
  const std::vector<int> sources = takeOf(source);
  if (sources.empty()) {
    if (done) context_.runtime.mainQueue().post([done = std::move(done)] { done({}); });
    return;
  }
  auto stopped = std::make_shared<Stopped>();
  const std::size_t all = sources.size();
  for (const int each : sources)
    stopOne(each, [this, stopped, all, done](const PreparedRecorder& ended) {
      const auto& recorder = *ended.recorder;
      stopped->push_back(
          {ended.source, recorder.isFileGone() ? std::nullopt : std::optional(recorder.outputPath())});
      if (!ended.isSide()) tellStop(ended, all - 1);
      if (stopped->size() == all && done) done(*stopped);
    });
}

void BusRecordings::stopOne(int source, std::function<void(const PreparedRecorder&)> done) {
  const auto found = running_.find(source);
  const PreparedRecorder ended = std::move(found->second);
  if (ended.detach) ended.detach();
  running_.erase(found);
  busRecordingStatuses.update([&](auto& rows) { rows.erase(source); });
  stopStatusTimerIfIdle();
  stops_.stop(ended.recorder, [ended, done = std::move(done)] { done(ended); });
}

void BusRecordings::stopAllRecordings(std::function<void(std::vector<std::string>)> done) {
  assertMain();
  std::vector<std::shared_ptr<Recorder>> all;
  std::vector<int> leads;
  for (const auto& [source, running] : running_) {
    // The sides of a session come behind its master.
    if (source >= 0) all.push_back(running.recorder);
    if (!running.isSide()) leads.push_back(source);
  }
  for (const auto& [source, running] : running_)
    if (source < 0) all.push_back(running.recorder);
  for (const int source : leads) stopRecording(source);
  stops_.whenNone([done = std::move(done), all] {
    std::vector<std::string> paths;
    for (const auto& recorder : all)
      if (!recorder->isFileGone()) paths.push_back(recorder->outputPath());
    if (done) done(std::move(paths));
  });
}

std::vector<BusRecordings::Mark> BusRecordings::mark(const std::string& text) {
  assertMain();
  std::vector<Mark> marks;
  for (const auto& [source, running] : running_) {
    const Recorder& lead = *running_.at(running.lead).recorder;
    const double seconds = double(lead.framesWritten() + lead.framesWaiting()) / lead.sampleRate();
    const auto frame = std::int64_t(std::llround(seconds * running.recorder->sampleRate()));
    running.recorder->mark(frame, text);
    marks.push_back({running.recorder->outputPath(), frame, seconds});
  }
  return marks;
}

void BusRecordings::handleRecordingFailure(const std::string& reason) {
  assertMain();
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
  for (const auto& [source, running] : running_) {
    if (running.recorder->isFileGone()) {
      gone.push_back(source);
      continue;
    }
    tellMove(source, running.recorder->outputPath());
    running.recorder->checkFile();
  }
  for (const int source : gone)
    if (isRecording(source)) continueInNewFile(source);
}

void BusRecordings::tellMove(int bus, const std::string& path) {
  const std::string before = busRecordingStatuses->at(bus).path;
  if (path == before) return;
  context_.log.warning(fmt::format("Sonmere: recording {} was moved to {}", lastComponent(before), path));
  fileNotice.set(fmt::format("\"{}\" was moved while it was being recorded. The recording goes on in {}.",
                             lastComponent(before), path));
}

// The files of a session stay together: all of them are succeeded.
void BusRecordings::continueInNewFile(int source) {
  const PreparedRecorder before = running_.at(source);
  const RecordingFormat format = running_.at(before.lead).recorder->format();
  const std::string name = lastComponent(before.recorder->outputPath());
  context_.log.warning(fmt::format("Sonmere: recording {} was removed", name));
  stopRecording(before.lead);
  startRecording(before.lead, format);
  if (!isRecording(source)) return;
  fileNotice.set(
      fmt::format("\"{}\" was removed while it was being recorded. The recording goes on in "
                  "\"{}\", without what was in it.",
                  name, lastComponent(running_.at(source).recorder->outputPath())));
}

void BusRecordings::statusTick() {
  checkFiles();
  const RecordingBitDepth depth = recordingBitDepth(context_.settings);
  busRecordingStatuses.update([&](auto& rows) {
    for (const auto& [source, running] : running_) {
      running.recorder->setCountedBitDepth(depth);
      rows[source] = statusOf(source, *running.recorder);
    }
  });
  checkLosses();
  const auto active = activeFiles();
  if (!checkStall(active)) checkSilence(active);
}

std::vector<RecordingWatch::Active> BusRecordings::activeFiles() const {
  std::vector<RecordingWatch::Active> active;
  for (const auto& [source, running] : running_) {
    const Recorder& recorder = *running.recorder;
    active.push_back({lastComponent(recorder.outputPath()), recorder.framesWritten(), recorder.sampleRate(),
                      recorder.everHadSignal(), recorder.framesWaiting()});
  }
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
  for (const auto& [source, running] : running_) {
    const Recorder& recorder = *running.recorder;
    if (const std::int64_t lost = recorder.lostFrames(); lost > 0)
      losses += fmt::format("{}\"{}\" lacks {:.2f} s", losses.empty() ? "" : ", ",
                            lastComponent(recorder.outputPath()), double(lost) / recorder.sampleRate());
  }
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
