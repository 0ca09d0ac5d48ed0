#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "base/Error.h"
#include "base/Observable.h"
#include "base/Runtime.h"
#include "editor/export/ExportProgress.h"

namespace sonmere {

// One long piece of work at a time beside the main thread, with its progress. Main thread.
class BackgroundWork {
 public:
  // Worker; ends early with an error of kExportCancelledDomain when cancelled.
  using Work = std::function<Outcome<void>(ExportProgress& progress)>;
  // Whether a cancel was asked for, which may have come too late for the work to notice, is in the progress.
  using Done = std::function<void(const Outcome<void>& result, const ExportProgress& progress)>;

  explicit BackgroundWork(Runtime& runtime) : runtime_(runtime) {}
  // Cancels; what runs ends by itself, and nobody is told.
  ~BackgroundWork() { cancel(); }

  // To be observed.
  OwnedObservable<bool, BackgroundWork> isRunning{false};
  OwnedObservable<double, BackgroundWork> progress{0};  // 0 to 1

  // Only while none runs. `done` is told once isRunning has fallen.
  void start(Work work, Done done);
  void cancel();
  // Until it is done; nothing while it can't be told.
  std::optional<Duration> timeLeft() const;

 private:
  void finished(const Outcome<void>& result);

  Runtime& runtime_;
  Done done_;
  std::shared_ptr<ExportProgress> running_;  // of the work under way
  ScopedTask progressTimer_;
  std::shared_ptr<BackgroundWork*> self_ = std::make_shared<BackgroundWork*>(this);
};

}  // namespace sonmere
