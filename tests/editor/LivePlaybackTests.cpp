#include <atomic>
#include <mutex>
#include <random>

#include "EditorWorld.h"
#include "base/LiveRuntime.h"
#include "editor/MultiTrackEditorEngine.h"

namespace sonmere {
namespace {

// The same machine on real threads: the worker writes, the device's thread reads, the main thread replaces.
TEST(LivePlayback, ThreadsMeetOnlyWhereTheyMay) {
  EditorWorld files;  // for its folder only
  LiveRuntime runtime;
  Log log;
  std::mutex mutex;
  std::vector<std::string> failures;
  log.addSink([&](LogLevel level, const std::string& line) {
    const std::lock_guard lock(mutex);
    if (level == LogLevel::error) failures.push_back(line);
  });
  SimulatedPlatform platform(runtime, log);
  platform.host().plugStandardMachine();
  EngineContext context{runtime,  log,         files.settings, files.notifications,
                        platform, files.flags, *files.micSend, Folders{}};
  RecordingSession session{"2026-01-31 12-00-00", {}, {}};
  for (int i = 1; i <= 4; ++i)
    session.files.push_back({files.makeFile(std::to_string(i) + ".wav", 48000, i == 4 ? 44100 : 48000),
                             "Track " + std::to_string(i), RecordingFormat::wav, 1, 0});
  const auto ear = platform.host().hear(SimulatedHost::kSpeakersUID, DeviceRecorder::Keep::hashOnly);
  {
    MultiTrackEditorEngine editor(context);
    editor.open(session);
    editor.setLoop(true);
    std::mt19937 random(7);
    int steps = 0;
    const auto act = [&] {
      if (++steps == 150) return runtime.stop();
      const auto& track = (*editor.trackEngines)[random() % 4];
      switch (random() % 8) {
        case 0:
          editor.seek(std::int64_t(random() % 48000));
          break;
        case 1:
          track->setGainLinear(double(random() % 100) / 100, SettingForm::live);
          break;
        case 2:
          editor.setMuted(track->url(), random() % 2);
          break;
        case 3:
          random() % 3 ? editor.play() : editor.pause();
          break;
        case 4:
          track->setTrimStart(std::int64_t(random() % 20000));
          break;
        case 5:
          editor.undo();
          break;
        default:
          editor.play();
          break;
      }
    };
    const ScopedTask acting = runtime.mainQueue().repeat(fromMilliseconds(12), act);
    runtime.run();
  }
  EXPECT_GT(ear->takePeak(), 0.0f);
  EXPECT_EQ(platform.host().counts().units, 0u);
  const std::lock_guard lock(mutex);
  EXPECT_TRUE(failures.empty()) << failures.front();
}

}  // namespace
}  // namespace sonmere
