#pragma once

#include <functional>
#include <memory>

#include "base/Error.h"
#include "base/Observable.h"
#include "base/Runtime.h"
#include "editor/ExportProgress.h"

namespace sonmere {

// One export at a time beside the main thread, with its progress. Main thread.
class BackgroundExport {
 public:
  // Worker; ends early with an error of kExportCancelledDomain when cancelled.
  using Work = std::function<Outcome<void>(ExportProgress& progress)>;
  using Done = std::function<void(const Outcome<void>& result)>;

  explicit BackgroundExport(Runtime& runtime) : runtime_(runtime) {}
  // Cancels; what runs ends by itself, and nobody is told.
  ~BackgroundExport() { cancel(); }

  // To be observed.
  Observable<bool> isSaving{false};
  Observable<double> saveProgress{0};  // 0 to 1

  // Only while none runs. `done` is told before isSaving falls.
  void start(Work work, Done done);
  void cancel();

 private:
  void finished(const Outcome<void>& result);

  Runtime& runtime_;
  Done done_;
  std::shared_ptr<ExportProgress> progress_;  // of the export under way
  ScopedTask progressTimer_;
  std::shared_ptr<BackgroundExport*> self_ = std::make_shared<BackgroundExport*>(this);
};

}  // namespace sonmere
