#pragma once

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "MemoryFile.h"
#include "recording/RecordingContext.h"
#include "support/TemporaryFolder.h"

namespace sonmere {

inline const Error kDiskFull{kPOSIXErrorDomain, 28, "write: No space left on device"};
inline const Error kDriveGone{kPOSIXErrorDomain, 5, "write: Input/output error"};

// All that a recorder stands on, over any runtime, with files in memory.
struct RecordingBench {
  explicit RecordingBench(Runtime& itsRuntime) : runtime(itsRuntime) {
    log.addSink([this](LogLevel, const std::string& line) {
      const std::lock_guard lock(mutex);
      lines.push_back(line);
    });
    context.createFile = [this](const std::string& path,
                                const AudioFileSettings& asked) -> Outcome<std::shared_ptr<AudioFileWriter>> {
      if (createError) return std::unexpected(*createError);
      files.push_back(std::make_shared<MemoryFile>(path, asked));
      if (onCreate) onCreate(*files.back());
      return files.back();
    };
  }

  // Runs it on the main queue at this uptime. What happens while a file hangs in virtual time must be a task:
  // the outermost advance returns only once the file goes on.
  void at(Duration uptime, Task task) {
    runtime.mainQueue().postAfter(uptime - runtime.uptime(), std::move(task));
  }
  bool logged(const std::string& line) const {
    const std::lock_guard lock(mutex);
    return std::ranges::find(lines, line) != lines.end();
  }
  std::string defaultFolder() const { return context.folders.defaultRecordings; }
  std::string otherFolder() const { return (folder / "elsewhere").string(); }

  Runtime& runtime;
  TemporaryFolder folder;
  Log log;
  MemorySettingsStore settings;
  NotificationCenter notifications;
  RecordingContext context{
      runtime,
      log,
      settings,
      notifications,
      {(folder / "support").string(), (folder / "recordings").string()},
      RecordingHealth::create(runtime, log, notifications, (folder / "support").string()),
      std::make_shared<FlushDeadline>(),
      nullptr};
  std::vector<std::shared_ptr<MemoryFile>> files;
  std::function<void(MemoryFile&)> onCreate;
  std::optional<Error> createError;
  mutable std::mutex mutex;
  std::vector<std::string> lines;
};

}  // namespace sonmere
