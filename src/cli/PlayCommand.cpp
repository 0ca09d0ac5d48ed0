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
      : work_(work), rendering_(work.runtime(), log, platform.platform().hardware()), engine_(rendering_) {
    engine_.interrupted = [this](Duration) {
      end(work_.fail({"PlayCommand", 1, "the output was interrupted"}));
    };
  }

  // The exit status.
  int play(const std::string& path) {
    const auto probe = openRecording(path);
    if (!probe) return work_.badInput(probe.error());
    if (const auto started = engine_.start(); !started) return work_.fail(started.error());
    status_.reset();
    seconds_ = double((*probe)->frameCount()) / (*probe)->format().sampleRate;
    begin(path);
    const ScopedTask look = work_.runtime().mainQueue().repeat(kShowInterval, [this] { show(); });
    while (!status_) work_.runtime().run();
    engine_.stop();
    return *status_;
  }

 private:
  void begin(const std::string& path) {
    PlaybackEngine::Request request;
    request.tracks.push_back([path](const PCMFormat& wanted) -> Outcome<std::unique_ptr<AudioFileReader>> {
      auto reader = openRecording(path);
      if (!reader) return reader;
      return resampled(std::move(*reader), wanted);
    });
    request.finished = [this] { end(kExitSuccess); };
    request.failed = [this](std::size_t, const Error& error) { end(work_.fail(error)); };
    engine_.play(std::move(request));
  }

  void show() {
    const double played = double(engine_.playedFrames()) / std::max(engine_.sampleRate(), 1.0);
    if (work_.show(seconds_ > 0 ? std::min(1.0, played / seconds_) : 0))
      end(work_.fail({"PlayCommand", 2, "stopped"}));
  }

  void end(int status) {
    if (!status_) status_ = status;
    work_.runtime().stop();
  }

  FileWork& work_;
  RenderServices rendering_;
  PlaybackEngine engine_;
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
