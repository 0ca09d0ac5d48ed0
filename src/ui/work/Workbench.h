#pragma once

#include <QObject>
#include <QPointer>
#include <filesystem>
#include <functional>
#include <memory>

#include "app/FileSettingsStore.h"
#include "app/PlatformChoice.h"
#include "audio/engine/EngineContext.h"
#include "base/FileDescriptorWatcher.h"
#include "base/LiveRuntime.h"
#include "base/NotificationCenter.h"
#include "dsp/MicSend.h"
#include "recording/RecordingContext.h"

class QSocketNotifier;

namespace sonmere {

// What the window's own work on files stands on: a runtime that Qt's loop drives, the user's settings, and an
// output to play on, which is looked for when something is to be heard. It needs no service. Main thread.
class Workbench : public QObject {
  Q_OBJECT

 public:
  struct Place {
    PlatformWish platform = PlatformWish::automatic;
    std::filesystem::path settingsFile;
    Folders folders;
    std::string trash;
  };
  // The user's own.
  static Place userPlace();
  // In a folder of its own, on the embedded server: nothing of the user's is touched.
  static Place demoPlace(const std::filesystem::path& folder);

  explicit Workbench(Place place);
  ~Workbench() override;

  LiveRuntime& runtime() { return *runtime_; }
  Log& log() { return log_; }
  SettingsStore& settings() { return *settings_; }
  const std::string& trash() const { return place_.trash; }
  // Null where the system has no room for it.
  FileDescriptorWatcher* watcher() { return watcher_.get(); }
  // Recordings in `onlyFolder`, or where it is empty, in that of the settings.
  RecordingContext recordings(const std::string& onlyFolder);
  EngineContext& engines();

  // Runs `work` beside the main thread, and then `done` with what came of it, unless `owner` is gone by then.
  template <class Work, class Done>
  void run(QObject* owner, Work work, Done done) {
    // Its own end waits for what is under way, and holds it no more by then.
    LiveRuntime& runtime = *runtime_;
    runtime.globalQueue().post([&runtime, guard = QPointer<QObject>(owner), work = std::move(work),
                                done = std::move(done)]() mutable {
      auto result = std::make_shared<decltype(work())>(work());
      runtime.mainQueue().post([guard = std::move(guard), done = std::move(done), result]() mutable {
        if (guard) done(std::move(*result));
      });
    });
  }

 private:
  const Place place_;
  Log log_;  // written to until the runtime's threads have ended
  std::unique_ptr<LiveRuntime> runtime_;
  std::unique_ptr<QSocketNotifier> due_;
  std::unique_ptr<FileSettingsStore> settings_;
  NotificationCenter notifications_;
  RenderFlags flags_;
  const std::unique_ptr<MicSend> micSend_ = std::make_unique<MicSend>();
  std::unique_ptr<FileDescriptorWatcher> watcher_;
  std::optional<PlatformChoice> platform_;
  std::unique_ptr<EngineContext> engines_;
};

}  // namespace sonmere
