#include "editor/waveform/WaveformPeakAnalyzer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "audio/file/ReaderError.h"
#include "editor/track/TrackReader.h"
#include "editor/waveform/BinLevels.h"
#include "editor/waveform/PeakScan.h"
#include "recording/RecordingReader.h"

namespace sonmere {

namespace {

// A read takes a multiple of this many bins, in about as many bytes as the processor's cache holds best.
constexpr std::int64_t kBinsPerRead = 32;
constexpr std::int64_t kReadBytes = 200 << 10;
// Three days of stereo. A header that tells of more is taken for damage.
constexpr std::int64_t kMostBins = std::int64_t(1) << 28;
// More than any compression makes of silence.
constexpr double kMostFramesPerByte = 8192;

// Seconds. Headers of compressed files may be off by some packets.
constexpr double kShortestGap = 0.1;

std::int64_t binsPerRead(std::int64_t binFrames, std::uint32_t bytesPerFrame) {
  const std::int64_t bytes = kBinsPerRead * binFrames * bytesPerFrame;
  return kBinsPerRead * std::max<std::int64_t>(kReadBytes / bytes, 1);
}

struct Opened {
  PCMFormat format;
  std::int64_t frames = 0;
  std::unique_ptr<PeakScan> scan;
};

Outcome<Opened> openScan(const std::string& url) {
  auto reader = openRecording(url);
  if (!reader) return std::unexpected(reader.error());
  Opened opened{(*reader)->format(), (*reader)->frameCount(), nullptr};
  if (opened.frames < 0) {
    const auto counted = wholeFile(url);
    if (!counted) return std::unexpected(counted.error());
    opened.frames = counted->range.totalFrames;
  }
  // Memory is taken by what the header says, which may be anything.
  std::error_code error;
  const auto bytes = std::filesystem::file_size(url, error);
  if (!error && double(opened.frames) > double(bytes) * kMostFramesPerByte)
    return std::unexpected(
        Error{"WaveformPeakAnalyzer", 1,
              fmt::format("{}: its header tells of {} frames, more than it can hold", url, opened.frames)});
  auto plain = PlainWav::open(url, **reader);
  opened.scan = plain ? PeakScan::ofPlainWav(std::move(*plain), url) : PeakScan::ofReader(std::move(*reader));
  return opened;
}

// The lists that one pass fills.
class EnvelopeLists {
 public:
  EnvelopeLists(WaveformEnvelope& envelope, std::uint32_t channels, std::int64_t bins, bool hasLevels)
      : lists_(envelope.channels), levels_(envelope.levels), bins_(std::size_t(bins)), pairs_(channels) {
    const auto arena = LargeArena::forLists(channels, bins_ * sizeof(WaveformBin));
    for (std::uint32_t channel = 0; channel < channels; ++channel)
      lists_.emplace_back(LargeAllocator<WaveformBin>(arena)).reserve(bins_);
    // What is not read is silent.
    if (hasLevels) levels_.assign(channels, LargeVector<float>(bins_, 0.0f));
  }

  bool isFull() const { return bin_ >= bins_; }
  void take(const PeakScan& scan, const std::uint8_t* samples, std::int64_t frames, std::int64_t bins) {
    const std::size_t count = std::min(std::size_t(bins), bins_ - bin_);
    static_assert(sizeof(WaveformBin) == 2 * sizeof(float));
    for (std::size_t channel = 0; channel < pairs_.size(); ++channel) {
      lists_[channel].resize(bin_ + count);
      pairs_[channel] = &lists_[channel][bin_].minValue;
    }
    scan.finder()(samples, pairs_.size(), std::size_t(frames), count, pairs_.data());
    if (!levels_.empty()) takeLevels(scan, samples, std::size_t(frames), count);
    bin_ += count;
  }
  // What was not read is silent.
  void finish() {
    for (auto& list : lists_) list.resize(bins_, {0, 0});
  }

 private:
  void takeLevels(const PeakScan& scan, const std::uint8_t* samples, std::size_t frames, std::size_t count) {
    std::vector<float*> starts;
    for (auto& list : levels_) starts.push_back(list.data() + bin_);
    findBinLevels(scan.encoding(), samples, starts.size(), frames, count, starts.data());
  }

  std::vector<LargeVector<WaveformBin>>& lists_;
  std::vector<LargeVector<float>>& levels_;
  const std::size_t bins_;
  std::size_t bin_ = 0;
  std::vector<float*> pairs_;
};

}  // namespace

std::int64_t WaveformPeakAnalyzer::binFrames(std::int64_t totalFrames, double sampleRate) {
  const double duration = double(totalFrames) / sampleRate;
  const double binsPerSecond = duration < 60 ? 5000 : duration < 600 ? 2000 : 1000;
  return std::max<std::int64_t>(std::llround(sampleRate / binsPerSecond), 1);
}

std::optional<WaveformEnvelope> WaveformPeakAnalyzer::analyze(const std::string& url,
                                                              const std::atomic<bool>* isCancelled,
                                                              const std::function<void(double)>& progress,
                                                              Detail detail) const {
  WaveformEnvelope envelope;
  const auto openFailed = [&](const std::string& why) {
    log_.error("WaveformPeakAnalyzer: open failed — " + why);
    return std::nullopt;
  };
  auto opened = openScan(url);
  if (!opened && isFault(opened.error(), ReaderFault::noAudio)) return envelope;
  if (!opened) return openFailed(opened.error().description);

  const std::int64_t total = opened->frames, frames = binFrames(total, opened->format.sampleRate);
  envelope.totalFrames = total;
  envelope.sampleRate = opened->format.sampleRate;
  envelope.binFrames = frames;
  const std::int64_t bins = total / frames + (total % frames != 0);
  if (bins > kMostBins / opened->format.channels)
    return openFailed(fmt::format("{}: {} frames are too many to be drawn", url, total));

  EnvelopeLists lists(envelope, opened->format.channels, bins, detail == Detail::extremesAndLevels);
  PeakScan& scan = *opened->scan;
  const std::int64_t readFrames = frames * binsPerRead(frames, scan.bytesPerFrame());
  for (std::int64_t position = 0; position < total && !lists.isFull();) {
    if (isCancelled && isCancelled->load(std::memory_order_relaxed)) return std::nullopt;
    const auto block = scan.next(std::min(readFrames, total - position));
    if (!block) {
      log_.error(
          fmt::format("WaveformPeakAnalyzer: read failed at {} — {}", position, block.error().description));
      break;
    }
    const auto count = std::int64_t(block->size() / scan.bytesPerFrame());
    if (count == 0) {
      const double missing = double(total - position) / envelope.sampleRate;
      if (missing >= kShortestGap)
        log_.warning(
            fmt::format("WaveformPeakAnalyzer: read ended at {} — {}: its audio ends {:.1f} s too early",
                        position, url, missing));
      break;
    }
    const std::int64_t whole = count / frames, rest = count % frames;
    if (whole > 0) lists.take(scan, block->data(), frames, whole);
    if (rest > 0) lists.take(scan, block->data() + whole * frames * scan.bytesPerFrame(), rest, 1);
    position += count;
    if (progress) progress(double(position) / double(total));
  }
  lists.finish();
  return envelope;
}

}  // namespace sonmere
