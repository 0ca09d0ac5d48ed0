#include "recording/Preroll.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <new>

#include "audio/engine/Rates.h"
#include "base/LengthText.h"
#include "recording/AppsTapRecorder.h"
#include "recording/PrerollWriter.h"
#include "recording/RecordedSource.h"

namespace sonmere {

namespace {

constexpr Duration kLook = std::chrono::seconds(1);
// Of the machine's memory.
constexpr double kMostMemory = 0.25;
constexpr double kUsualRate = 48000;
constexpr int kMostTries = 3;

double mostBytes() {
  return kMostMemory * double(::sysconf(_SC_PHYS_PAGES)) * double(::sysconf(_SC_PAGESIZE));
}

std::shared_ptr<PrerollWriter> memoryOf(const PreparedRecorder& kept) {
  return std::dynamic_pointer_cast<PrerollWriter>(kept.recorder->file()->writer());
}

// When what it keeps began, in seconds on the server's clock.
double lineOf(const PreparedRecorder& each) {
  return each.startLine ? double(std::uint64_t(each.startLine->hostTime)) * 1e-9 : 0;
}

}  // namespace

// One that is under way, on the queue that saves.
struct Preroll::Save {
  struct File {
    std::shared_ptr<PrerollWriter> from;
    std::shared_ptr<AudioFileWriter> to;
    std::int64_t first = 0, end = 0;
  };
  std::vector<File> files;

  Outcome<std::vector<std::string>> run() {
    std::vector<std::string> paths;
    for (const File& file : files) {
      auto written = file.from->copy(*file.to, file.first, file.end);
      const auto closed = file.to->close();
      if (written) written = closed;
      if (!written) {
        removeAll();
        return std::unexpected(written.error());
      }
      paths.push_back(file.to->path());
    }
    return paths;
  }
  void removeAll() const {
    std::error_code ignored;
    for (const File& file : files) std::filesystem::remove(file.to->path(), ignored);
  }
};

Preroll::Preroll(const RecordingContext& context, RecorderFeed& feed, MicRecorderFeed* mic)
    : context_(context),
      memory_(context),
      feed_(feed),
      mic_(mic),
      maker_(memory_, feed, mic),
      queue_(context.runtime.serialQueue("sonmere.preroll")) {
  memory_.createFile = [this](
                           const std::string& path,
                           const AudioFileSettings& settings) -> Outcome<std::shared_ptr<AudioFileWriter>> {
    try {
      return std::make_shared<PrerollWriter>(path, settings, seconds_);
    } catch (const std::bad_alloc&) {
      return std::unexpected(Error{"Preroll", 1, "there is no memory for it"});
    }
  };
}

Preroll::~Preroll() {
  for (const PreparedRecorder& each : kept_)
    if (each.detach) each.detach();
}

void Preroll::start(Sources sources) {
  sources_ = std::move(sources);
  settingChanged();
}

double Preroll::wantedSeconds() const {
  return std::clamp(context_.settings.number(kPrerollKey).value_or(0), 0.0, kLongestPreroll);
}

void Preroll::settingChanged() {
  if (!sources_) return;
  const bool isOn = wantedSeconds() > 0;
  timer_.cancel();
  if (isOn) timer_ = context_.runtime.mainQueue().repeat(kLook, [this] { tend(); });
  tend();
}

std::optional<std::string> Preroll::lackOfMemory(double seconds, std::size_t sources) const {
  const bool isShort = recordingBitDepth(context_.settings) == RecordingBitDepth::int16;
  const double bytes = double(sources) * (seconds + 2) * kUsualRate * 2 * (isShort ? 2 : 4);
  if (bytes <= mostBytes()) return std::nullopt;
  return fmt::format(
      "the last {:.0f} s of {} sources need {} of memory, more than the {} that they may take; keep fewer "
      "seconds "
      "({})",
      seconds, sources, sizeText(std::uint64_t(bytes)), sizeText(std::uint64_t(mostBytes())), kPrerollKey);
}

std::optional<std::string> Preroll::lack(double seconds) const {
  if (seconds <= seconds_) return std::nullopt;
  if (!refusal_.empty()) return refusal_;
  if (seconds_ == 0) return fmt::format("nothing is kept; set {} to so many seconds first", kPrerollKey);
  return fmt::format("only the last {:.0f} s are kept; set {} to more first", seconds_, kPrerollKey);
}

bool Preroll::isKept(int source) const {
  return std::ranges::find(kept_, source, &PreparedRecorder::source) != kept_.end();
}

// A session lacks what has come up since.
bool Preroll::lacksSides() const {
  if (layout_ != RecordingLayout::separateTracks || !context_.platform) return false;
  const bool micIsOn = mic_ && mic_->isRunning();
  if (micIsOn != isKept(kMicSource)) return true;
  return !isKept(kAppsSource) && appsTries_ < kMostTries && AppsTapRecorder::isAnyAudible(*context_.platform);
}

bool Preroll::isStale(const PreparedRecorder& each, std::span<const int> wanted) const {
  if (each.isSide()) return false;
  if (std::ranges::find(wanted, each.source) == wanted.end()) return true;
  if (each.source == kBridgeBus && lacksSides()) return true;
  const double rate = feed_.busSampleRate(each.source);
  return each.boundRate && rate > 0 && std::abs(rate - *each.boundRate) >= kSameRateHz;
}

void Preroll::tend() {
  const std::vector<int> wanted = dropStale();
  std::vector<int> missing;
  std::ranges::copy_if(wanted, std::back_inserter(missing), [this](int source) { return !isKept(source); });
  // One that can't be had takes nothing from the others.
  if (!missing.empty() && !keep(missing) && missing.size() > 1)
    for (const int source : missing) keep({source});
  publish();
}

std::vector<int> Preroll::dropStale() {
  const double seconds = wantedSeconds();
  const RecordingLayout layout = recordingLayout(context_.settings);
  if (seconds != seconds_ || layout != layout_) dropAll();
  seconds_ = seconds;
  layout_ = layout;
  refusal_.clear();
  std::vector<int> wanted = seconds > 0 && sources_ ? sources_() : std::vector<int>();
  const std::size_t sides = layout == RecordingLayout::separateTracks ? 2 : 0;
  if (auto lack = lackOfMemory(seconds, wanted.size() + sides)) {
    refusal_ = std::move(*lack);
    wanted.clear();
  }
  std::vector<int> stale;
  for (const PreparedRecorder& each : kept_)
    if (isStale(each, wanted)) stale.push_back(each.source);
  for (const int lead : stale) drop(lead);
  return wanted;
}

bool Preroll::keep(const std::vector<int>& sources) {
  RecordingTake nowhere(context_.runtime, "");
  auto made = maker_.make(nowhere, sources, RecordingFormat::wav, {}, isKept(kMicSource));
  if (!made) {
    refusal_ = made.error().message;
    return false;
  }
  for (PreparedRecorder& each : *made) {
    if (each.attach) each.attach();
    each.attach = nullptr;
  }
  drawStartLine(context_, *made);
  std::ranges::move(*made, std::back_inserter(kept_));
  appsTries_ = isKept(kAppsSource) ? 0 : appsTries_ + 1;
  return true;
}

void Preroll::drop(int lead) {
  for (PreparedRecorder& each : kept_) {
    if (each.lead != lead) continue;
    if (each.detach) each.detach();
    each.recorder->stop([recorder = each.recorder] {});
  }
  std::erase_if(kept_, [lead](const PreparedRecorder& each) { return each.lead == lead; });
}

void Preroll::dropAll() {
  while (!kept_.empty()) drop(kept_.front().lead);
}

std::vector<PreparedRecorder> Preroll::take(std::span<const int> sources) {
  std::vector<PreparedRecorder> taken;
  dropStale();
  for (const int source : sources) {
    const auto found = std::ranges::find(kept_, source, &PreparedRecorder::source);
    // What belongs to another that isn't asked for is begun anew, alone.
    if (found == kept_.end()) continue;
    if (found->isSide() && std::ranges::find(sources, found->lead) == sources.end()) drop(found->lead);
  }
  const auto isTaken = [&](const PreparedRecorder& each) {
    return std::ranges::find(sources, each.lead) != sources.end();
  };
  const auto rest = std::ranges::stable_partition(kept_, std::not_fn(isTaken));
  std::ranges::move(rest, std::back_inserter(taken));
  kept_.erase(rest.begin(), rest.end());
  publish();
  return taken;
}

void Preroll::giveBack(std::vector<PreparedRecorder> kept) {
  std::ranges::move(kept, std::back_inserter(kept_));
}

Outcome<Preroll::Files> Preroll::open(RecordingTake& take, const std::vector<PreparedRecorder>& kept,
                                      const RecorderFile::Destination& to) const {
  Files files;
  for (const PreparedRecorder& each : kept) {
    auto file = each.recorder->file()->openFile(context_, to);
    if (!file) {
      take.undo();
      return std::unexpected(file.error());
    }
    take.addFile((*file)->path());
    files.push_back(std::move(*file));
  }
  return files;
}

// What was made together lies on one line: an instant is the same share of a second in each. What was made
// apart is brought there by the lines' distance.
void Preroll::begin(const std::vector<PreparedRecorder>& kept, const Files& files,
                    const RecorderFile::Destination& to, std::optional<double> seconds) const {
  if (kept.empty()) return;
  const auto heardBy = [](const PreparedRecorder& each) {
    const auto& recorder = *each.recorder;
    return double(recorder.file()->framesWritten() + recorder.framesWaiting()) / recorder.sampleRate();
  };
  const Date now = context_.runtime.wallTime();
  const double earlier = std::min(seconds.value_or(seconds_), seconds_);
  const double begin = heardBy(kept.front()) - earlier;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    const Recorder& recorder = *kept[i].recorder;
    const double own = begin + lineOf(kept.front()) - lineOf(kept[i]);
    const auto memory = memoryOf(kept[i]);
    const auto first = std::max(std::int64_t(std::llround(own * recorder.sampleRate())), memory->firstKept());
    const double before = earlier - (double(first) / recorder.sampleRate() - own);
    recorder.file()->begin(to, files[i], first, now - fromSeconds(before));
  }
}

void Preroll::save(double seconds, const std::string& folder, RecordingFormat format,
                   std::optional<RecordingBitDepth> depth, Saved done) {
  const auto fail = [&](Error error) { done(std::unexpected(std::move(error))); };
  if (kept_.empty()) return fail({"Preroll", 2, "there is nothing to be heard that could be kept"});
  RecordingTake files(context_.runtime, folder);
  auto save = std::make_shared<Save>();
  const Date now = context_.runtime.wallTime();
  // Where the last of them has come.
  double until = std::numeric_limits<double>::max();
  for (const PreparedRecorder& each : kept_)
    until = std::min(until, lineOf(each) + double(memoryOf(each)->frames()) / each.recorder->sampleRate());
  for (const PreparedRecorder& each : kept_) {
    auto made = each.recorder->file()->openFile(context_, {folder, files.date(), format, {depth}});
    if (!made) {
      save->removeAll();
      return fail(made.error());
    }
    const auto memory = memoryOf(each);
    const double rate = each.recorder->sampleRate();
    const std::int64_t end = std::llround((until - lineOf(each)) * rate);
    const std::int64_t first =
        std::max(end - std::int64_t(std::llround(seconds * rate)), memory->firstKept());
    (*made)->setOrigin(audioFileOrigin(now - fromSeconds(double(end - first) / rate), rate));
    save->files.push_back({memory, std::move(*made), first, end});
  }
  queue_->post([save, done = lifetime_.guard(std::move(done)), &runtime = context_.runtime] {
    auto result = save->run();
    runtime.mainQueue().post([result = std::move(result), done] { done(result); });
  });
}

void Preroll::publish() {
  PrerollState now{seconds_, seconds_, 0, {}, refusal_};
  for (const PreparedRecorder& each : kept_) {
    const auto memory = memoryOf(each);
    now.sources.push_back(each.source);
    now.bytes += memory->bytes();
    now.keptSeconds = std::min(now.keptSeconds,
                               double(memory->frames() - memory->firstKept()) / each.recorder->sampleRate());
  }
  if (kept_.empty()) now.keptSeconds = 0;
  now.keptSeconds = std::floor(now.keptSeconds);
  if (state.get() != now) state.set(now);
}

}  // namespace sonmere
