#include "editor/export/ExportProgress.h"

#include <algorithm>

namespace sonmere {

namespace {

constexpr Duration kLeastTime = fromMilliseconds(300);
constexpr double kLeastFraction = 0.005;
// What fractions are counted in.
constexpr std::int64_t kWhole = 1'000'000;

}  // namespace

void ExportProgress::begin(std::int64_t totalFrames) {
  startedAt_ = runtime_.uptime().count();
  doneFrames_ = 0;
  peak_ = 0;
  totalFrames_ = totalFrames;
}

void ExportProgress::advance(std::int64_t frames) {
  doneFrames_.fetch_add(frames, std::memory_order_relaxed);
  if (onAdvance) onAdvance();
}

void ExportProgress::advanceTo(double fraction) {
  const auto done = std::int64_t(std::clamp(fraction, 0.0, 1.0) * double(kWhole));
  if (totalFrames_ != kWhole || done < doneFrames_) begin(kWhole);
  doneFrames_ = done;
  if (onAdvance) onAdvance();
}

void ExportProgress::note(const std::string& text) {
  if (std::ranges::find(notes_, text) == notes_.end()) notes_.push_back(text);
}

void ExportProgress::note(const std::vector<std::string>& texts) {
  for (const std::string& text : texts) note(text);
}

double ExportProgress::fraction() const {
  const std::int64_t total = totalFrames_;
  return total > 0 ? std::clamp(double(doneFrames_) / double(total), 0.0, 1.0) : 0;
}

std::optional<Duration> ExportProgress::timeLeft() const {
  const double done = fraction();
  const Duration elapsed = runtime_.uptime() - Duration(startedAt_);
  if (done < kLeastFraction || elapsed < kLeastTime) return std::nullopt;
  return fromSeconds(toSeconds(elapsed) * (1 - done) / done);
}

}  // namespace sonmere
