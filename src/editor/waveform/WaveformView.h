#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Log.h"
#include "base/Runtime.h"
#include "editor/waveform/WaveformPeakSummary.h"

namespace sonmere {

// The part of a waveform that is looked at: reads a file's peaks away from the main thread and hands out
// those in view. The log must outlive the runtime's queues. Main thread.
class WaveformView {
 public:
  static constexpr const char* kLoadingText = "Reading waveform…";

  WaveformView(Runtime& runtime, Log& log) : runtime_(runtime), log_(log) {}
  ~WaveformView() { cancelLoad(); }
  WaveformView(const WaveformView&) = delete;
  WaveformView& operator=(const WaveformView&) = delete;

  const std::string& url() const { return url_; }
  // Begins to read the file; ends a reading that is under way. The view is then the whole file.
  void setURL(const std::string& url);
  // Ends the reading; what was read before stays.
  void cancelLoad();
  bool isLoading() const { return loadTask_ != nullptr; }

  // Frames, the end exclusive; held to the file and to at least one frame.
  void setView(std::int64_t start, std::int64_t end);
  std::int64_t viewStart() const { return viewStart_; }
  std::int64_t viewEnd() const { return viewEnd_; }

  // Nothing while there is none.
  const std::optional<WaveformPeakSummary>& summary() const { return summary_; }
  // The bins of each channel that the view touches. They are the file's own at any zoom.
  std::vector<std::span<const float>> channelBuffers() const;

  // Called once a file is read, with an envelope to keep; not for one that can't be.
  std::function<void(WaveformEnvelope)> onEnvelopeReady;

 private:
  struct Peaks {
    WaveformPeakSummary summary;
    WaveformEnvelope envelope;
  };

  void finishLoad(Peaks& peaks);

  Runtime& runtime_;
  Log& log_;
  std::string url_;
  std::int64_t viewStart_ = 0, viewEnd_ = 0;
  std::optional<WaveformPeakSummary> summary_;
  std::shared_ptr<std::atomic<bool>> loadTask_;  // true: cancelled
};

}  // namespace sonmere
