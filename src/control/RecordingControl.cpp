#include "control/RecordingControl.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <set>

#include "audio/device/BusName.h"
#include "control/ControlError.h"
#include "recording/RecordedSource.h"

namespace sonmere {

namespace {

std::unexpected<Error> refuse(ControlFault fault, std::string text) {
  return std::unexpected(controlError(fault, std::move(text)));
}

constexpr std::size_t kShownFailures = 20;
constexpr std::size_t kLongestMark = 200;  // bytes
constexpr double kShortestTake = 1;        // seconds
constexpr double kSmallestTake = 1e6;      // bytes
constexpr double kLargestBound = 1e15;

double peakDb(float peak) { return std::max(-120.0, 20 * std::log10(double(peak))); }

std::string labelOf(int source) { return source == kMicSource ? "the microphone" : busLabel(source); }

Outcome<void> checkSource(int source) {
  if (isRecordableSource(source)) return {};
  return refuse(
      ControlFault::badValue,
      fmt::format("bus {} can't be recorded; those that can are 0, the bridge, and 2 to 9, Track 1 to 8",
                  source));
}

Outcome<void> readFormat(const RecordingControl::Start& asked, TakeRequest& take) {
  for (const auto format : {RecordingFormat::wav, RecordingFormat::m4a})
    if (asked.format == name(format)) take.format = format;
  if (asked.format && !take.format)
    return refuse(ControlFault::badValue,
                  fmt::format("the format \"{}\" is none of wav and m4a", *asked.format));
  for (const auto depth : kRecordingBitDepths)
    if (asked.depth == name(depth)) take.depth = depth;
  if (asked.depth && !take.depth)
    return refuse(ControlFault::badValue,
                  fmt::format("the depth \"{}\" is none of int16, int24 and float32", *asked.depth));
  return {};
}

Outcome<void> readBounds(const RecordingControl::Start& asked, TakeRequest& take) {
  struct Bound {
    const char* name;
    std::optional<double> given;
    double least;
  };
  for (const Bound& bound : {Bound{"maxSeconds", asked.mostSeconds, kShortestTake},
                             {"maxBytes", asked.mostBytes, kSmallestTake},
                             {"partSeconds", asked.partSeconds, kShortestTake}})
    if (bound.given && !(*bound.given >= bound.least && *bound.given <= kLargestBound))
      return refuse(ControlFault::badValue,
                    fmt::format("{} is {}; use {} or more", bound.name, *bound.given, bound.least));
  take.mostSeconds = asked.mostSeconds.value_or(0);
  take.mostBytes = std::uint64_t(asked.mostBytes.value_or(0));
  take.partSeconds = asked.partSeconds.value_or(0);
  take.prerollSeconds = asked.prerollSeconds;
  return {};
}

Outcome<TakeRequest> readTake(const RecordingControl::Start& asked) {
  TakeRequest take;
  if (auto checked = readFormat(asked, take); !checked) return std::unexpected(checked.error());
  if (auto checked = readBounds(asked, take); !checked) return std::unexpected(checked.error());
  if (asked.folder && !std::filesystem::path(*asked.folder).is_absolute())
    return refuse(ControlFault::badValue, fmt::format("the folder \"{}\" is no full path", *asked.folder));
  take.folder = asked.folder;
  return take;
}

}  // namespace

std::vector<RecordingState> RecordingControl::list() const {
  std::vector<RecordingState> all;
  const Date now = app_.context().runtime.wallTime();
  for (const auto& [source, status] : *app_.recordings()->busRecordingStatuses)
    all.push_back({source, status.path, toSeconds(now - status.startedAt), status.framesWritten,
                   status.bytesWritten, status.lostFrames, peakDb(status.lastPeak), !status.everHadSignal,
                   status.part});
  const auto sides =
      std::ranges::stable_partition(all, [](const RecordingState& each) { return each.source >= 0; });
  std::ranges::reverse(sides);
  return all;
}

RecordingHealthState RecordingControl::health() const {
  RecordingHealthState health;
  const BusRecordings& recordings = *app_.recordings();
  for (const auto* notice : {&recordings.silentRecordingNotice, &recordings.fileNotice,
                             &recordings.lossNotice, &recordings.endNotice, &recordings.spaceNotice})
    if (notice->get()) health.notices.push_back(*notice->get());
  health.failureCount = app_.recordingHealth()->failureCount();
  health.failures = app_.recordingHealth()->failures();
  if (health.failures.size() > kShownFailures)
    health.failures.erase(health.failures.begin(), health.failures.end() - kShownFailures);
  return health;
}

Outcome<void> RecordingControl::checkStart(int source) const {
  if (auto checked = checkSource(source); !checked) return checked;
  if (app_.recordings()->isRecording(source))
    return refuse(ControlFault::badValue, fmt::format("{} is being recorded already", labelOf(source)));
  // The bridge is heard as a device, the microphone says itself what it lacks.
  if (source > kBridgeBus && !app_.appTapEngine()->isBusRunning(source))
    return refuse(ControlFault::badValue,
                  fmt::format("no app plays on {}; route one to it first", busLabel(source)));
  return {};
}

Outcome<TakeRequest> RecordingControl::checkRequest(const Start& request) const {
  if (request.sources.empty()) return refuse(ControlFault::badValue, "name a bus to record");
  for (const int source : request.sources)
    if (auto checked = checkStart(source); !checked) return std::unexpected(checked.error());
  if (request.layout && !recordingLayoutNamed(*request.layout))
    return refuse(ControlFault::badValue, fmt::format("the layout \"{}\" is none of mixed, dualMono and "
                                                      "separateTracks",
                                                      *request.layout));
  const auto take = readTake(request);
  if (!take || !request.prerollSeconds) return take;
  if (auto checked = checkPreroll(*request.prerollSeconds); !checked) return std::unexpected(checked.error());
  return take;
}

Outcome<void> RecordingControl::checkPreroll(double seconds) const {
  if (!(seconds >= 0 && seconds <= kLongestPreroll))
    return refuse(ControlFault::badValue,
                  fmt::format("a pre-roll of {} s is not one of 0 to {:.0f} s", seconds, kLongestPreroll));
  if (const auto lack = app_.recordings()->preroll().lack(seconds))
    return refuse(ControlFault::badValue, fmt::format("the last {} s are not to be had: {}", seconds, *lack));
  return {};
}

void RecordingControl::saveLast(double seconds, const Start& request, Stopped done) {
  const auto take = readTake(request);
  if (!take) return done(std::unexpected(take.error()));
  if (!(seconds > 0))
    return done(refuse(ControlFault::badValue, "say how many seconds are to be saved, more than 0"));
  if (auto checked = checkPreroll(seconds); !checked) return done(std::unexpected(checked.error()));
  app_.recordings()->saveLast(seconds, *take, [done = std::move(done)](auto saved) {
    if (!saved) return done(refuse(ControlFault::failed, saved.error().description));
    done(std::move(*saved));
  });
}

// In the layout that is asked for: a session has the microphone by itself.
void RecordingControl::startAll(Start request, Started done) {
  if (request.layout)
    if (const auto layout = recordingLayoutNamed(*request.layout)) app_.dualMonoEngine()->setLayout(*layout);
  request.isOfAll = false;
  request.sources = app_.recordableSources();
  if (request.sources.empty())
    return done(refuse(ControlFault::failed, "there is nothing to record that is not being recorded"));
  start(request, std::move(done));
}

void RecordingControl::start(const Start& request, Started done) {
  if (request.isOfAll) return startAll(request, std::move(done));
  const auto take = checkRequest(request);
  if (!take) return done(std::unexpected(take.error()));
  if (request.layout) app_.dualMonoEngine()->setLayout(*recordingLayoutNamed(*request.layout));
  auto go = [this, sources = request.sources, take = *take, done = std::move(done)] {
    done(begin(sources, take));
  };
  if (std::ranges::find(request.sources, kBridgeBus) == request.sources.end()) return go();
  app_.recordingSources()->prepare(std::move(go));
}

Outcome<std::vector<RecordingState>> RecordingControl::begin(const std::vector<int>& sources,
                                                             const TakeRequest& request) {
  BusRecordings& recordings = *app_.recordings();
  std::set<std::string> before;
  for (const RecordingState& each : list()) before.insert(each.path);
  recordings.startRecordings(sources, request);
  if (!recordings.isRecording(sources[0])) return refuse(ControlFault::failed, *recordings.errorMessage);
  auto started = list();
  std::erase_if(started, [&](const auto& each) { return before.contains(each.path); });
  return started;
}

void RecordingControl::stop(int source, Stopped done) {
  if (auto checked = checkSource(source); !checked) return done(std::unexpected(checked.error()));
  app_.recordings()->stopTake(source, [source, done = std::move(done)](const BusRecordings::Stopped& files) {
    if (files.empty())
      return done(refuse(ControlFault::notFound, fmt::format("{} is not being recorded", labelOf(source))));
    std::vector<std::string> paths;
    for (const auto& file : files)
      paths.insert(file.source == source ? paths.begin() : paths.end(), file.paths.begin(), file.paths.end());
    const auto own = std::ranges::find(files, source, &BusRecordings::StoppedFile::source);
    if (own == files.end() || own->paths.empty())
      return done(
          refuse(ControlFault::failed,
                 fmt::format("the recording of {} ended, but its file was removed", labelOf(source))));
    done(std::move(paths));
  });
}

Outcome<std::vector<BusRecordings::Mark>> RecordingControl::mark(const std::string& text) {
  if (text.size() > kLongestMark)
    return refuse(ControlFault::badValue,
                  fmt::format("the text of a mark has {} bytes; use at most {}", text.size(), kLongestMark));
  if (std::ranges::any_of(text, [](char c) { return static_cast<unsigned char>(c) < ' '; }))
    return refuse(ControlFault::badValue, "the text of a mark has a control character; use one line");
  if (!app_.recordings()->isAnyRecording())
    return refuse(ControlFault::notFound, "nothing is being recorded, so there is nothing to mark");
  return app_.recordings()->mark(text);
}

void RecordingControl::stopAll(Stopped done) {
  if (!app_.recordings()->isAnyRecording())
    return done(refuse(ControlFault::notFound, "nothing is being recorded"));
  app_.recordings()->stopAllRecordings(
      [done = std::move(done)](std::vector<std::string> paths) { done(std::move(paths)); });
}

}  // namespace sonmere
