#include "recording/RecorderMaker.h"

#include <fmt/format.h>

#include <algorithm>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/Rates.h"
#include "recording/AppsTapRecorder.h"
#include "recording/BridgeCapture.h"
#include "recording/RecordedSource.h"
#include "recording/RecordingFileName.h"

namespace sonmere {

namespace {

// Of the devices that there are: 2048 frames at 44.1 kHz.
constexpr Duration kLongestCycle = fromMilliseconds(50);

// What a file's name of an input can hold of its label.
std::string inputName(std::string label, std::size_t number) {
  std::ranges::replace_if(
      label, [](char c) { return c == '/' || c == ':'; }, '-');
  constexpr const char* kSpace = " \t\r\n";
  std::ranges::replace_if(
      label, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  const auto from = label.find_first_not_of(kSpace);
  label = from == label.npos ? "" : label.substr(from, label.find_last_not_of(kSpace) - from + 1);
  constexpr std::size_t kLongest = 120;  // bytes; a file's name holds 255
  if (label.size() > kLongest) {
    label.resize(kLongest);
    while (!label.empty() && (static_cast<unsigned char>(label.back()) & 0xC0) == 0x80) label.pop_back();
    if (!label.empty() && static_cast<unsigned char>(label.back()) >= 0xC0) label.pop_back();
  }
  const std::string input = "Input " + std::to_string(number);
  // Not to be taken for a part of another.
  if (parseRecordingPart(label)) label += " (" + input + ")";
  return "Sonmere Mic \u2014 " + (label.empty() ? input : label);
}

RecorderMaker::Failure cantStart(const char* what, const Error& error) {
  return {"Couldn't start recording: " + error.description,
          fmt::format("Sonmere: {} init failed: {}", what, error.description)};
}

}  // namespace

// What is being made.
struct RecorderMaker::Take {
  RecordingTake& files;
  const RecordingFormat format;
  const TakeFileOptions options;
  const bool micIsRecorded;
  std::vector<PreparedRecorder> made;
  std::shared_ptr<StartLine> startLine = nullptr;

  bool contains(int source) const {
    return std::ranges::find(made, source, &PreparedRecorder::source) != made.end();
  }
};

std::string RecorderMaker::baseName(int source) {
  if (source == kMicSource) return "Sonmere Mic";
  return source == kBridgeBus ? "Sonmere Recording" : "Sonmere Track " + std::to_string(source - 1);
}

// Where captures of their own stand beside one another, it lies behind the cycles that are under way: each
// has then heard what comes right before.
Date drawStartLine(const RecordingContext& context, const std::vector<PreparedRecorder>& fed) {
  const Date now = context.runtime.wallTime();
  const auto& line = fed.front().startLine;
  if (!line) return now;
  const bool hasCapture = std::ranges::any_of(fed, [](const auto& each) { return !each.boundRate; });
  const Duration ahead = fed.size() > 1 && hasCapture ? kLongestCycle : Duration::zero();
  const std::uint64_t time = context.platform->hardware().hostTime();
  line->hostTime = std::max<std::uint64_t>(time + std::uint64_t(ahead.count()), 1);  // the first instant is 0
  return now + ahead;
}

RecorderMaker::Made RecorderMaker::make(RecordingTake& files, std::span<const int> sources,
                                        RecordingFormat format, const TakeFileOptions& options,
                                        bool micIsRecorded) const {
  Take take{files, format, options, micIsRecorded, {}};
  // Its clock is the server's.
  if (context_.platform) take.startLine = std::make_shared<StartLine>();
  // The bridge first: where its layout is a session, the microphone belongs to that.
  std::vector<int> ordered(sources.begin(), sources.end());
  std::ranges::stable_partition(ordered, [](int source) { return source == kBridgeBus; });
  for (const int source : ordered)
    if (!take.contains(source))
      if (auto failure = makeSource(take, source)) return std::unexpected(std::move(*failure));
  for (PreparedRecorder& each : take.made) each.startLine = take.startLine;
  return std::move(take.made);
}

std::optional<RecorderMaker::Failure> RecorderMaker::makeSource(Take& take, int source) const {
  if (source == kMicSource) return makeMic(take, kMicSource);
  if (source != kBridgeBus || !context_.platform) return makeBus(take, source);
  const bool isSession = recordingLayout(context_.settings) == RecordingLayout::separateTracks &&
                         context_.platform->hardware().supportsProcessTaps();
  return isSession ? makeSession(take) : makeBridge(take, baseName(kBridgeBus), "BridgeCapture");
}

std::optional<RecorderMaker::Failure> RecorderMaker::makeBus(Take& take, int bus) const {
  const double rate = feed_.busSampleRate(bus);
  auto made = take.files.add(
      BusRecorder::create(context_, {bus, take.format, rate > 0 ? rate : kFallbackRate, baseName(bus),
                                     take.files.folder(), take.files.date(), take.startLine, take.options}));
  if (!made) return cantStart("BusRecorder", made.error());
  const auto recorder = *made;
  take.made.push_back({bus, recorder, bus,
                       [this, bus, ring = recorder->ring()] { feed_.setRecorderRing(bus, ring); },
                       [this, bus] { feed_.setRecorderRing(bus, nullptr); }, recorder->sampleRate()});
  return std::nullopt;
}

std::optional<RecorderMaker::Failure> RecorderMaker::makeBridge(Take& take, const std::string& name,
                                                                const char* log) const {
  auto made = take.files.add(BridgeCapture::create(
      context_, *context_.platform,
      {take.format, name, take.files.folder(), take.files.date(), take.startLine, take.options}));
  if (!made) return cantStart(log, made.error());
  take.made.push_back({kBridgeBus, *made, kBridgeBus, nullptr, nullptr, std::nullopt});
  return std::nullopt;
}

// In this order: without its master there is no session, without an input or the apps there is.
std::optional<RecorderMaker::Failure> RecorderMaker::makeSession(Take& take) const {
  if (auto failure = makeBridge(take, "Sonmere Master", "Separate Tracks")) return failure;
  if (mic_ && mic_->isRunning()) {
    if (auto failure = makeMic(take, kBridgeBus)) return failure;
    makeInputs(take);
  }
  makeApps(take);
  return std::nullopt;
}

double RecorderMaker::fileRate() const {
  if (context_.platform) {
    AudioHardware& hardware = context_.platform->hardware();
    if (const auto bridge = CoreAudioUtils::deviceForBus(hardware, kBridgeBus))
      if (const auto rate = CoreAudioUtils::nominalRate(hardware, *bridge); rate && *rate > 0) return *rate;
  }
  return mic_ && mic_->captureRate() > 0 ? mic_->captureRate() : kFallbackRate;
}

std::optional<RecorderMaker::Failure> RecorderMaker::makeMic(Take& take, int lead) const {
  const bool isOfSession = lead != kMicSource;
  const auto refuse = [&](std::string message) {
    take.files.undo();
    return Failure{std::move(message), ""};
  };
  if (!mic_ || !mic_->isRunning()) return refuse("Turn on Mic Passthrough first to record your mic.");
  if (take.micIsRecorded)
    return refuse(isOfSession ? "Mic is already being recorded via Per-App Routing. Stop that first."
                              : "Mic is already being recorded by another session. Stop that first.");
  auto made = take.files.add(MicSideRecorder::create(
      context_, {baseName(kMicSource), take.files.date(), fileRate(), mic_->captureRate(),
                 mic_->isStereo() ? 2 : 1, take.files.folder(), take.startLine, take.options}));
  if (!made && isOfSession) return cantStart("Separate Tracks", made.error());
  if (!made)
    return Failure{"Couldn't start mic recording: " + made.error().description,
                   "Sonmere: MicSideRecorder init failed: " + made.error().description};
  take.made.push_back({kMicSource, *made, lead,
                       [mic = mic_, ring = (*made)->ring()] { mic->setRecorderRing(ring); },
                       [mic = mic_] { mic->setRecorderRing(nullptr); }, std::nullopt});
  return std::nullopt;
}

void RecorderMaker::makeInputs(Take& take) const {
  std::size_t number = 0;
  for (const auto& [id, label] : mic_->inputs()) {
    const std::string name = inputName(label, ++number);
    auto made = MicSideRecorder::create(context_, {name, take.files.date(), fileRate(), mic_->captureRate(),
                                                   1, take.files.folder(), take.startLine, take.options});
    if (!made) {
      context_.log.error(
          fmt::format("Sonmere: extra-input recorder skipped ({}): {}", name, made.error().description));
      continue;
    }
    const auto recorder = *take.files.add(std::move(made));
    take.made.push_back({kFirstInputSource - int(number) + 1, recorder, kBridgeBus,
                         [mic = mic_, id, ring = recorder->ring()] { mic->setInputRing(id, ring); },
                         [mic = mic_, id] { mic->setInputRing(id, nullptr); }, std::nullopt});
  }
}

void RecorderMaker::makeApps(Take& take) const {
  auto made = AppsTapRecorder::create(
      context_, *context_.platform,
      {"Sonmere Apps", take.files.date(), fileRate(), take.files.folder(), take.startLine, take.options});
  if (!made) {
    // That nobody plays is no fault.
    const auto level =
        made.error().code == AppsTapRecorder::kNobodyAudible ? LogLevel::warning : LogLevel::error;
    return context_.log.write(level, "Sonmere: AppsTapRecorder skipped: " + made.error().description);
  }
  take.made.push_back(
      {kAppsSource, *take.files.add(std::move(made)), kBridgeBus, nullptr, nullptr, std::nullopt});
}

}  // namespace sonmere
