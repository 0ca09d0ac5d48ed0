#include "editor/waveform/WaveformPeakSummary.h"

#include "dsp/kernels/PeakKernels.h"

namespace sonmere {

WaveformPeakSummary WaveformPeakSummary::of(std::string url, const WaveformEnvelope& envelope) {
  WaveformPeakSummary summary{
      std::move(url), {}, envelope.totalFrames, envelope.sampleRate, envelope.binFrames};
  const std::size_t bins = envelope.channels.empty() ? 0 : envelope.channels[0].size();
  const auto arena = LargeArena::forLists(envelope.channels.size(), bins * sizeof(float));
  for (const auto& channel : envelope.channels) {
    auto& peaks = summary.channels.emplace_back(LargeAllocator<float>(arena));
    peaks.resize(bins);
    if (bins > 0) peakKernels().signedPeaks(&channel[0].minValue, bins, peaks.data());
  }
  return summary;
}

}  // namespace sonmere
