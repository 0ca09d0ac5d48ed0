#pragma once

#include <cstdint>
#include <optional>

#include "base/Observable.h"

namespace sonmere {

// Which frames an editor shows, and how zooming and pinching change that. Main thread.
class EditorViewport {
 public:
  // One step of zoomIn or zoomOut changes the length by this factor.
  static constexpr double kZoomStep = 2;
  // Closer than this nothing new is seen.
  static constexpr std::int64_t kMinimumLength = 64;

  // Frames, the end exclusive.
  OwnedObservable<std::int64_t, EditorViewport> viewStart{0};
  OwnedObservable<std::int64_t, EditorViewport> viewEnd{0};

  std::int64_t length() const { return *viewEnd - *viewStart; }
  std::int64_t totalFrames() const { return totalFrames_; }
  // Of another length of the whole; shows the whole if it did so before.
  void setTotalFrames(std::int64_t frames);

  // A playhead in view keeps its place on screen, else the middle does.
  void zoomIn(std::int64_t playhead) { zoom(1 / kZoomStep, playhead); }
  void zoomOut(std::int64_t playhead) { zoom(kZoomStep, playhead); }
  void zoomToFit() { show(0, totalFrames_); }
  void scroll(std::int64_t frames) { show(*viewStart + frames, *viewEnd + frames); }
  // Held to the whole: moved, and shortened where it is longer.
  void show(std::int64_t start, std::int64_t end);
  // Scrolls by whole views until the frame is in view.
  void reveal(std::int64_t frame);

  // A pinch: `scale` is the distance of the fingers against that at the beginning. Without a playhead in view
  // `fallbackCenter`, a frame, keeps its place.
  void pinchBegan(std::int64_t playhead, std::int64_t fallbackCenter);
  void pinchChanged(double scale, std::int64_t playhead);
  void pinchEnded();

 private:
  bool isInView(std::int64_t frame) const { return frame >= *viewStart && frame < *viewEnd; }
  double ratioOf(std::int64_t frame) const;
  void zoom(double factor, std::int64_t playhead);
  // Shows `length` frames with `frame` at `ratio` of them.
  void showAround(std::int64_t frame, double ratio, double length);

  std::int64_t totalFrames_ = 0;
  // Of a pinch under way.
  std::optional<std::int64_t> pinchInitialViewLength_;
  std::optional<double> pinchPlayheadScreenRatio_;  // nothing: the playhead was not in view
  std::int64_t pinchFallbackCenter_ = 0;
  double pinchFallbackRatio_ = 0.5;
};

}  // namespace sonmere
