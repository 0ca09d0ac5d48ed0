#include "editor/waveform/WaveformView.h"

#include <algorithm>

#include "editor/waveform/WaveformPeakAnalyzer.h"

namespace sonmere {

void WaveformView::setURL(const std::string& url) {
  cancelLoad();
  url_ = url;
  summary_.reset();
  viewStart_ = viewEnd_ = 0;
  loadTask_ = std::make_shared<std::atomic<bool>>(false);
  runtime_.globalQueue().post([this, url, task = loadTask_, &main = runtime_.mainQueue(), &log = log_] {
    if (*task) return;
    const auto peaks = std::make_shared<Peaks>();
    auto envelope = WaveformPeakAnalyzer(log).analyze(url, task.get());
    if (envelope) *peaks = {WaveformPeakSummary::of(url, *envelope), std::move(*envelope)};
    // Cancelled on the main thread only, so `this` is alive when the flag is still down there.
    main.post([this, task, peaks, isRead = envelope.has_value()] {
      if (*task) return;
      loadTask_.reset();
      if (isRead) finishLoad(*peaks);
    });
  });
}

void WaveformView::cancelLoad() {
  if (loadTask_) *loadTask_ = true;
  loadTask_.reset();
}

void WaveformView::finishLoad(Peaks& peaks) {
  summary_ = std::move(peaks.summary);
  viewStart_ = 0;
  viewEnd_ = summary_->totalFrames;
  if (onEnvelopeReady) onEnvelopeReady(std::move(peaks.envelope));
}

void WaveformView::setView(std::int64_t start, std::int64_t end) {
  if (!summary_ || summary_->totalFrames == 0) return;
  viewStart_ = std::clamp<std::int64_t>(start, 0, summary_->totalFrames - 1);
  viewEnd_ = std::clamp(end, viewStart_ + 1, summary_->totalFrames);
}

std::vector<std::span<const float>> WaveformView::channelBuffers() const {
  std::vector<std::span<const float>> buffers;
  if (!summary_) return buffers;
  const auto first = std::size_t(viewStart_ / summary_->binFrames);
  const auto last = std::size_t((viewEnd_ + summary_->binFrames - 1) / summary_->binFrames);
  for (const auto& channel : summary_->channels)
    buffers.push_back(std::span(channel).subspan(first, last - first));
  return buffers;
}

}  // namespace sonmere
