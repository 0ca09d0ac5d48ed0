#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/Error.h"
#include "base/Log.h"
#include "base/NotificationCenter.h"
#include "base/Runtime.h"
#include "recording/WriterFailure.h"

namespace sonmere {

// Keeps a record of writer failures and makes one notice of a burst of them. Threads: any but a render
// thread.
class RecordingHealth : public std::enable_shared_from_this<RecordingHealth> {
 public:
  // Posted on the main queue; its info holds `reason`, a text for the user.
  static constexpr const char* kWriteFailed = "sonmere.recording.writeFailed";
  static constexpr const char* kFileName = "recording-health.jsonl";
  // Failures kept in memory; the oldest go.
  static constexpr std::size_t kKept = 1000;

  static std::shared_ptr<RecordingHealth> create(Runtime& runtime, Log& log,
                                                 NotificationCenter& notifications, std::string folder) {
    return std::shared_ptr<RecordingHealth>(
        new RecordingHealth(runtime, log, notifications, std::move(folder)));
  }

  void noteWriterFailure(const std::string& writer, const std::string& path, const Error& error,
                         std::int64_t atFrame);
  std::vector<WriterFailure> failures() const;
  std::int64_t failureCount() const;

  // "{domain} {code}: {description}"
  static std::string errorText(const Error& error);
  // What the user is told. `path` is that of the file: its folders' names must not pass for the system's
  // words.
  static std::string reason(const WriterFailure& failure, const std::string& path);

 private:
  RecordingHealth(Runtime& runtime, Log& log, NotificationCenter& notifications, std::string folder)
      : runtime_(runtime), log_(log), notifications_(notifications), folder_(std::move(folder)) {}

  // Whether a notice is due; if so the next one is 5 seconds off.
  bool keep(const WriterFailure& failure);
  void appendToFile(const WriterFailure& failure);
  void postNotice(std::string reason);

  Runtime& runtime_;
  Log& log_;
  NotificationCenter& notifications_;
  const std::string folder_;

  mutable std::mutex mutex_;
  std::deque<WriterFailure> failures_;
  std::int64_t failureCount_ = 0;
  std::optional<Duration> lastNotice_;

  std::mutex fileMutex_;
};

}  // namespace sonmere
