#include "editor/BackgroundExport.h"

#include <utility>

namespace sonmere {

namespace {
constexpr Duration kProgressInterval = fromMilliseconds(100);
}  // namespace

void BackgroundExport::start(Work work, Done done) {
  done_ = std::move(done);
  progress_ = std::make_shared<ExportProgress>(runtime_);
  saveProgress.set(0);
  isSaving.set(true);
  progressTimer_ =
      runtime_.mainQueue().repeat(kProgressInterval, [this] { saveProgress.set(progress_->fraction()); });
  runtime_.globalQueue().post(
      [&runtime = runtime_, progress = progress_, weak = std::weak_ptr(self_), work = std::move(work)] {
        const auto result = work(*progress);
        runtime.mainQueue().post([weak, result] {
          if (const auto self = weak.lock()) (*self)->finished(result);
        });
      });
}

void BackgroundExport::cancel() {
  if (progress_) progress_->cancel();
}

void BackgroundExport::finished(const Outcome<void>& result) {
  progressTimer_.cancel();
  progress_.reset();
  if (result) saveProgress.set(1);
  std::exchange(done_, nullptr)(result);
  isSaving.set(false);
}

}  // namespace sonmere
