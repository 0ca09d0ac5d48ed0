#include "ui/editor/LaneWave.h"

#include <algorithm>

#include "editor/EditorEngine.h"
#include "editor/waveform/WaveformSamples.h"
#include "ui/work/Workbench.h"

namespace sonmere {
namespace {

// What is read around the view, so that a small scroll needs nothing new.
constexpr std::int64_t kAround = 2;  // views
constexpr std::int64_t kMostSamples = 4'000'000;

}  // namespace

LaneWave::LaneWave(std::shared_ptr<EditorEngine> engine, Workbench& workbench)
    : engine_(std::move(engine)), workbench_(workbench) {
  takeEnvelope();
}

void LaneWave::takeEnvelope() {
  const auto envelope = *engine_->envelope;
  if (!envelope) return;
  workbench_.run(
      this, [envelope] { return std::make_shared<const WavePyramid>(envelope); },
      [this](std::shared_ptr<const WavePyramid> pyramid) {
        pyramid_ = std::move(pyramid);
        emit changed();
      });
}

WaveformBin LaneWave::extremes(std::int64_t from, std::int64_t until) const {
  if (usesSamples_ && from >= samplesFrom_ && until <= samplesUntil_) return samples_->extremes(from, until);
  return pyramid_ ? pyramid_->extremes(from, until) : WaveformBin{0, 0};
}

void LaneWave::prepare(std::int64_t from, std::int64_t until, double framesPerPixel) {
  if (!pyramid_) return;
  const bool isFine = framesPerPixel < static_cast<double>(pyramid_->binFrames());
  const bool isThere = samples_ && from >= samplesFrom_ && until <= samplesUntil_;
  usesSamples_ = isFine && isThere;
  if (isFine && !isThere && !isReading_) {
    const std::int64_t length = until - from;
    readSamples(from - kAround * length, until + kAround * length);
  }
}

void LaneWave::readSamples(std::int64_t from, std::int64_t until) {
  if (!*engine_->trimRange) return;
  TrimRange part = **engine_->trimRange;
  part.startFrame = std::clamp<std::int64_t>(from, 0, part.totalFrames);
  part.endFrame = std::clamp(until, part.startFrame, part.totalFrames);
  if (part.length() <= 0 || part.length() > kMostSamples) return;
  isReading_ = true;
  const auto work = [part, url = engine_->url()]() -> std::shared_ptr<const WavePyramid> {
    auto read = waveformSamples(url, part);
    if (!read || read->channels.empty() || read->channels.front().empty()) return nullptr;
    return std::make_shared<const WavePyramid>(std::make_shared<const WaveformEnvelope>(std::move(*read)));
  };
  workbench_.run(this, work, [this, part](std::shared_ptr<const WavePyramid> samples) {
    isReading_ = false;
    if (!samples) return;
    samples_ = std::move(samples);
    samplesFrom_ = part.startFrame;
    samplesUntil_ = part.endFrame;
    emit changed();
  });
}

}  // namespace sonmere
