#include "recording/BusRecordings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <functional>
#include <iterator>
#include <set>

#include "base/ThreadRules.h"
#include "recording/RecordedSource.h"
#include "recording/RecordingFormatSetting.h"

namespace sonmere {

namespace {

constexpr Duration kStatusInterval = fromMilliseconds(500);

std::string lastComponent(const std::string& path) { return std::filesystem::path(path).filename().string(); }

// Of its parts; without what is gone.
std::vector<std::string> pathsOf(const Recorder& recorder) {
  std::vector<std::string> paths = recorder.space().earlierParts;
  if (!recorder.isFileGone()) paths.push_back(recorder.outputPath());
  return paths;
}

BusRecordingStatus statusOf(int bus, const Recorder& recorder) {
  return {bus,
          recorder.outputPath(),
          recorder.format(),
          recorder.startedAt(),
          recorder.bytesWritten(),
          recorder.framesWritten(),
          recorder.lostFrames(),
          recorder.lastPeak(),
          recorder.everHadSignal(),
          int(recorder.space().earlierParts.size()) + 1};
}

}  // namespace

BusRecordings::BusRecordings(const RecordingContext& context, RecorderFeed& feed, Folder folder,
                             MicRecorderFeed* mic)
    : context_(context),
      maker_(context_, feed, mic),
      preroll_(context_, feed, mic),
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

Outcome<std::string> BusRecordings::folderFor(const TakeRequest& request) const {
  auto folder = request.folder ? RecordingsFolder(context_).usable(*request.folder) : folder_();
  if (!folder) return folder;
  if (auto lack = lackOfSpace(*folder, freeSpaceBounds(context_.settings)))
    return std::unexpected(Error{kPOSIXErrorDomain, ENOSPC, std::move(*lack)});
  return folder;
}

void BusRecordings::startRecordings(std::span<const int> sources, const TakeRequest& request) {
  assertMain();
  std::vector<int> wanted;
  std::ranges::copy_if(sources, std::back_inserter(wanted),
                       [this](int source) { return isRecordableSource(source) && !isRecording(source); });
  if (wanted.empty()) return;
  const auto folder = folderFor(request);
  if (!folder)
    return reportStartFailure({"Couldn't start recording: " + folder.error().description,
                               "Sonmere: BusRecorder init failed: " + folder.error().description});
  RecordingTake take(context_.runtime, *folder);
  const RecordingFormat format = request.format.value_or(*defaultRecordingFormat);
  const TakeFileOptions options{request.depth, request.mostSeconds, request.partSeconds};
  auto begun = begin(take, wanted, format, options, request.prerollSeconds);
  if (!begun) return reportStartFailure(begun.error());
  for (auto* notice : {&fileNotice, &lossNotice, &endNotice})
    if (notice->get()) notice->set(std::nullopt);
  const auto act = std::make_shared<const TakeRequest>(request);
  for (PreparedRecorder& each : *begun) {
    each.request = act;
    show(each);
  }
  tellStart(*begun);
}

// What is kept of these sources begins in the past, the others now.
RecorderMaker::Made BusRecordings::begin(RecordingTake& take, std::vector<int> wanted, RecordingFormat format,
                                         const TakeFileOptions& options,
                                         std::optional<double> prerollSeconds) {
  auto kept = preroll_.take(wanted);
  const double keptSeconds = preroll_.state->seconds;
  auto opened = preroll_.open(take, kept, {take.folder(), take.date(), format, options});
  if (!opened) {
    preroll_.giveBack(std::move(kept));
    return std::unexpected(RecorderMaker::Failure{"Couldn't start recording: " + opened.error().description,
                                                  "Sonmere: pre-roll failed: " + opened.error().description});
  }
  std::erase_if(wanted, [&](int source) {
    return std::ranges::find(kept, source, &PreparedRecorder::source) != kept.end();
  });
  const bool micIsKept = std::ranges::find(kept, kMicSource, &PreparedRecorder::source) != kept.end();
  std::vector<PreparedRecorder> all;
  if (!wanted.empty()) {
    // All end at one instant.
    const double earlier = std::min(prerollSeconds.value_or(keptSeconds), keptSeconds);
    TakeFileOptions later = options;
    if (later.mostSeconds > 0 && !kept.empty())
      later.mostSeconds = std::max(later.mostSeconds - earlier, 0.01);
    auto made = maker_.make(take, wanted, format, later, micIsKept || isRecording(kMicSource));
    if (!made) {
      take.undo();
      preroll_.giveBack(std::move(kept));
      return made;
    }
    all = std::move(*made);
    for (const PreparedRecorder& each : all)
      if (each.attach) each.attach();
    const Date date = drawStartLine(context_, all);
    for (const PreparedRecorder& each : all) each.recorder->setBegin(date);
  }
  preroll_.begin(kept, *opened, {take.folder(), take.date(), format, options}, prerollSeconds);
  std::ranges::move(kept, std::back_inserter(all));
  return all;
}

std::optional<double> BusRecordings::recordingRate(int bus) const {
  const auto found = running_.find(bus);
  return found == running_.end() ? std::nullopt : found->second.boundRate;
}

void BusRecordings::saveLast(double seconds, const TakeRequest& request, Preroll::Saved done) {
  assertMain();
  const auto folder = folderFor(request);
  if (!folder) return done(std::unexpected(folder.error()));
  preroll_.save(seconds, *folder, request.format.value_or(*defaultRecordingFormat), request.depth,
                std::move(done));
}

void BusRecordings::reportStartFailure(const RecorderMaker::Failure& failure) {
  errorMessage.set(failure.message);
  if (!failure.line.empty()) context_.log.error(failure.line);
}

void BusRecordings::show(const PreparedRecorder& prepared) {
  running_[prepared.source] = prepared;
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
    done(own == stopped.end() || own->paths.empty() ? std::nullopt : std::optional(own->paths.front()));
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
      stopped->push_back({ended.source, pathsOf(recorder)});
      if (!ended.isSide()) tellStop(ended, all - 1);
      if (stopped->size() < all || !done) return;
      // The lead first, whichever was complete first.
      std::ranges::sort(*stopped, std::greater(), &StoppedFile::source);
      done(*stopped);
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
    for (const auto& recorder : all) std::ranges::move(pathsOf(*recorder), std::back_inserter(paths));
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
  for (auto* notice : {&silentRecordingNotice, &spaceNotice})
    if (notice->get()) notice->set(std::nullopt);
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
  const int parts = int(running_.at(bus).recorder->space().earlierParts.size()) + 1;
  if (path == before || parts != busRecordingStatuses->at(bus).part) return;
  context_.log.warning(fmt::format("Sonmere: recording {} was moved to {}", lastComponent(before), path));
  fileNotice.set(fmt::format("\"{}\" was moved while it was being recorded. The recording goes on in {}.",
                             lastComponent(before), path));
}

// The files of a session stay together: all of them are succeeded.
void BusRecordings::continueInNewFile(int source) {
  const PreparedRecorder before = running_.at(source);
  const Recorder& lead = *running_.at(before.lead).recorder;
  TakeRequest rest = *before.request;
  rest.format = lead.format();
  if (rest.mostSeconds > 0)
    rest.mostSeconds = std::max(rest.mostSeconds - double(lead.framesWritten()) / lead.sampleRate(), 0.01);
  const std::string name = lastComponent(before.recorder->outputPath());
  context_.log.warning(fmt::format("Sonmere: recording {} was removed", name));
  stopRecording(before.lead);
  startRecording(before.lead, rest);
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
  checkBounds();
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

TakeExtent BusRecordings::extentOf(const TakeRequest* act) const {
  TakeExtent extent;
  for (const auto& [source, running] : running_) {
    if (running.request.get() != act) continue;
    const Recorder& recorder = *running.recorder;
    const FileSpace space = recorder.space();
    const auto counted = recorder.format() == RecordingFormat::wav ? recorder.bytesWritten() : 0;
    extent.isComplete = extent.isComplete || recorder.isComplete();
    extent.bytes += std::max(space.bytes, std::uint64_t(counted));
    if (space.freeBytes)
      extent.freeBytes = std::min(*space.freeBytes, extent.freeBytes.value_or(*space.freeBytes));
  }
  return extent;
}

void BusRecordings::checkBounds() {
  const FreeSpaceBounds bounds = freeSpaceBounds(context_.settings);
  std::set<const TakeRequest*> acts;
  for (const auto& [source, running] : running_) acts.insert(running.request.get());
  std::optional<std::string> warning;
  for (const TakeRequest* act : acts) {
    const TakeExtent extent = extentOf(act);
    if (const auto end = endOfTake(extent, *act, bounds))
      endTake(act, *end);
    else if (auto text = spaceWarning(extent, bounds))
      warning = std::move(text);
  }
  if (isAnyRecording() && spaceNotice.get() != warning) spaceNotice.set(warning);
}

void BusRecordings::endTake(const TakeRequest* act, const TakeEnd& end) {
  if (end.isWanted) {
    context_.log.info("Sonmere: " + end.reason);
    endNotice.set(end.reason);
  } else {
    context_.log.error("Sonmere: recording auto-stopped \u2014 " + end.reason);
    errorMessage.set("Recording stopped: " + end.reason);
  }
  std::vector<int> leads;
  for (const auto& [source, running] : running_)
    if (running.request.get() == act && !running.isSide()) leads.push_back(source);
  for (const int lead : leads) stopRecording(lead);
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
