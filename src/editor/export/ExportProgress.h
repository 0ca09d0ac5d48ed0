#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/Runtime.h"

namespace sonmere {

// How far an export is, and the way to end it early. Threads: one at a time for `begin`, `advance`,
// `note` and `notePeak`, any for the rest.
class ExportProgress {
 public:
  explicit ExportProgress(const Runtime& runtime) : runtime_(runtime) {}

  void begin(std::int64_t totalFrames);
  // Calls `onAdvance`.
  void advance(std::int64_t frames);
  // For work that is not counted in frames: how far it is, from 0 to 1. Needs no `begin`.
  void advanceTo(double fraction);

  // From 0 to 1.
  double fraction() const;
  // From the pace until now; nothing while this says too little.
  std::optional<Duration> timeLeft() const;

  // The largest magnitude of what was written; above 1 only float WAVs hold it.
  void notePeak(float magnitude) {
    if (magnitude > peak_) peak_ = magnitude;
  }
  float peak() const { return peak_; }

  // What the user should know of what was made, each thing once. Read it when the work has ended.
  void note(const std::string& text);
  void note(const std::vector<std::string>& texts);
  const std::vector<std::string>& notes() const { return notes_; }

  const std::atomic<bool>& cancelFlag() const { return isCancelled_; }
  void cancel() { isCancelled_.store(true, std::memory_order_relaxed); }
  bool isCancelled() const { return isCancelled_.load(std::memory_order_relaxed); }

  // Called by the worker after each block; set before the export begins.
  std::function<void()> onAdvance;

 private:
  const Runtime& runtime_;
  std::atomic<std::int64_t> startedAt_{0};  // uptime, ns
  std::atomic<std::int64_t> totalFrames_{0};
  std::atomic<std::int64_t> doneFrames_{0};
  std::atomic<float> peak_{0};
  std::atomic<bool> isCancelled_{false};
  std::vector<std::string> notes_;
};

}  // namespace sonmere
