#include "editor/EditorViewport.h"

#include <algorithm>
#include <cmath>

namespace sonmere {

void EditorViewport::setTotalFrames(std::int64_t frames) {
  const bool showedAll = *viewStart == 0 && *viewEnd == totalFrames_;
  totalFrames_ = std::max<std::int64_t>(frames, 0);
  showedAll ? zoomToFit() : show(*viewStart, *viewEnd);
}

void EditorViewport::show(std::int64_t start, std::int64_t end) {
  const std::int64_t shortest = std::min(kMinimumLength, totalFrames_);
  const std::int64_t frames = std::clamp(end - start, shortest, totalFrames_);
  const std::int64_t from = std::clamp<std::int64_t>(start, 0, totalFrames_ - frames);
  viewStart.setIfChanged(from);
  viewEnd.setIfChanged(from + frames);
}

void EditorViewport::reveal(std::int64_t frame) {
  if (isInView(frame) || length() <= 0) return;
  const std::int64_t views = std::int64_t(std::floor(double(frame - *viewStart) / double(length())));
  scroll(views * length());
}

double EditorViewport::ratioOf(std::int64_t frame) const {
  return length() > 0 ? std::clamp(double(frame - *viewStart) / double(length()), 0.0, 1.0) : 0.5;
}

void EditorViewport::zoom(double factor, std::int64_t playhead) {
  const std::int64_t around = isInView(playhead) ? playhead : *viewStart + length() / 2;
  showAround(around, ratioOf(around), double(length()) * factor);
}

void EditorViewport::showAround(std::int64_t frame, double ratio, double length) {
  const double held =
      std::clamp(length, double(std::min(kMinimumLength, totalFrames_)), double(totalFrames_));
  const std::int64_t frames = std::llround(held);
  const std::int64_t start = frame - std::llround(ratio * held);
  show(start, start + frames);
}

void EditorViewport::pinchBegan(std::int64_t playhead, std::int64_t fallbackCenter) {
  pinchInitialViewLength_ = length();
  pinchPlayheadScreenRatio_ = isInView(playhead) ? std::optional(ratioOf(playhead)) : std::nullopt;
  pinchFallbackCenter_ = std::clamp<std::int64_t>(fallbackCenter, 0, totalFrames_);
  pinchFallbackRatio_ = ratioOf(pinchFallbackCenter_);
}

void EditorViewport::pinchChanged(double scale, std::int64_t playhead) {
  if (!pinchInitialViewLength_ || !(scale > 0)) return;
  const double wanted = double(*pinchInitialViewLength_) / scale;
  if (pinchPlayheadScreenRatio_)
    showAround(playhead, *pinchPlayheadScreenRatio_, wanted);
  else
    showAround(pinchFallbackCenter_, pinchFallbackRatio_, wanted);
}

void EditorViewport::pinchEnded() {
  pinchInitialViewLength_.reset();
  pinchPlayheadScreenRatio_.reset();
}

}  // namespace sonmere
