#include "cli/PlayCommand.h"

#include <fmt/format.h>

#include <optional>

#include "app/PlatformChoice.h"
#include "audio/file/StreamResampler.h"
#include "audio/playback/PlaybackEngine.h"
#include "base/LiveRuntime.h"
#include "cli/ChosenRecording.h"
#include "cli/ExitStatus.h"
#include "cli/FileWork.h"
#include "cli/Text.h"
#include "recording/RecordingReader.h"

namespace sonmere {

namespace {

// A server that answers may take a moment until it has an output.
constexpr Duration kServerWait = std::chrono::seconds(3);
constexpr Duration kShowInterval = fromMilliseconds(100);

// One file, from its beginning to its end.
class Playing {
 public:
  Playing(FileWork& work, PlatformChoice& platform, Log& log)
      : work_(work),
        rendering_(work.runtime(), log, platform.platform().hardware()),
        devices_(platform.platform().hardware(), work.runtime().mainQueue()),
        routes_(work.runtime(), platform.platform(), devices_),
        engine_(rendering_, routes_) {
    engine_.interrupted = [this] { from_ += played(); };
    engine_.settled = [this] { begin(); };
  }

  // The exit status.
  int play(const std::string& path) {
    const auto probe = openRecording(path);
    if (!probe) return work_.badInput(probe.error());
    status_.reset();
    path_ = path;
    from_ = 0;
    seconds_ = double((*probe)->frameCount()) / (*probe)->format().sampleRate;
    begin();
    const ScopedTask look = work_.runtime().mainQueue().repeat(kShowInterval, [this] { show(); });
    while (!status_) work_.runtime().run();
    engine_.stop();
    return *status_;
  }

 private:
  static Outcome<std::unique_ptr<AudioFileReader>> open(const std::string& path, double from,
                                                        const PCMFormat& wanted) {
    auto reader = openRecording(path);
    if (!reader) return reader;
    const auto frame = std::int64_t(from * (*reader)->format().sampleRate);
    if (frame > 0)
      if (auto found = (*reader)->seek(frame); !found) return std::unexpected(found.error());
    return resampled(std::move(*reader), wanted);
  }

  void begin() {
    if (const auto started = engine_.start(); !started) return end(work_.fail(started.error()));
    PlaybackEngine::Request request;
    request.tracks.push_back(
        [path = path_, from = from_](const PCMFormat& wanted) { return open(path, from, wanted); });
    request.finished = [this] { end(kExitSuccess); };
    request.failed = [this](std::size_t, const Error& error) { end(work_.fail(error)); };
    engine_.play(std::move(request));
  }

  // Seconds, since it began or went on.
  double played() const { return double(engine_.playedFrames()) / std::max(engine_.sampleRate(), 1.0); }

  void show() {
    if (work_.show(seconds_ > 0 ? std::min(1.0, (from_ + played()) / seconds_) : 0))
      end(work_.fail({"PlayCommand", 2, "stopped"}));
  }

  void end(int status) {
    if (!status_) status_ = status;
    work_.runtime().stop();
  }

  FileWork& work_;
  RenderServices rendering_;
  DeviceDirectory devices_;
  RouteKeeper routes_;
  PlaybackEngine engine_;
  std::string path_;
  double from_ = 0;  // seconds into the file
  std::optional<int> status_;
  double seconds_ = 0;
};

}  // namespace

int runRecordingsPlay(const RecordingsArguments& arguments) {
  FileWork work("recordings play", "Playing", arguments.json);
  Log log;
  log.addSink(Log::standardError(LogLevel::error));
  std::vector<std::string> paths;
  for (const std::string& each : arguments.files) {
    auto path = chosenRecording(work, each, arguments.folder);
    if (!path) return work.fail(path.error());
    paths.push_back(std::move(*path));
  }
  PlatformChoice platform(work.runtime(), log, *platformWish(arguments.platform));
  if (!work.runtime().waitUntil([&] { return platform.hasSession(); }, kServerWait))
    return work.fail(
        {"PlayCommand", 3,
         fmt::format("the {} audio server has no output: {}", platform.name(), platform.reason())});
  Playing playing(work, platform, log);
  for (const std::string& path : paths) {
    if (!arguments.json) fmt::print("{}\n", printable(path));
    if (const int status = playing.play(path); status != kExitSuccess) return status;
  }
  return kExitSuccess;
}

}  // namespace sonmere
