#include "editor/export/LoudnessMeter.h"

#include <ebur128.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "editor/export/ExportProgress.h"
#include "editor/export/SessionExporter.h"
#include "editor/track/BlockSource.h"

namespace sonmere {

namespace {

std::unexpected<Error> failure(std::string text) {
  return std::unexpected(Error{"LoudnessMeter", 1, std::move(text)});
}

// Below it the weighting has no place for its shelf, which begins at 1.7 kHz.
constexpr double kLowestSampleRate = 4000;

// The tenth of a second that the library's windows move by.
std::int64_t stepFrames(double sampleRate) { return (std::lround(sampleRate) + 5) / 10; }

double decibels(double linear) { return 20 * std::log10(linear); }

}  // namespace

struct LoudnessMeter::State {
  ebur128_state* library = nullptr;
  ~State() {
    if (library) ebur128_destroy(&library);
  }
};

LoudnessMeter::LoudnessMeter(std::shared_ptr<State> state, const PCMFormat& format)
    : state_(std::move(state)), format_(format) {}

Outcome<LoudnessMeter> LoudnessMeter::create(const PCMFormat& format) {
  constexpr int kMode = EBUR128_MODE_I | EBUR128_MODE_LRA | EBUR128_MODE_TRUE_PEAK | EBUR128_MODE_SAMPLE_PEAK;
  auto state = std::make_shared<State>();
  if (format.sampleRate >= kLowestSampleRate)
    state->library =
        ebur128_init(format.channels, static_cast<unsigned long>(std::lround(format.sampleRate)), kMode);
  if (!state->library)
    return failure(fmt::format("the loudness of audio at {} Hz with {} channel{} can't be measured",
                               format.sampleRate, format.channels, format.channels == 1 ? "" : "s"));
  return LoudnessMeter(std::move(state), format);
}

Outcome<void> LoudnessMeter::addInterleaved(const float* samples, std::size_t frames) {
  if (ebur128_add_frames_float(state_->library, samples, frames) == EBUR128_SUCCESS) return {};
  return failure("the loudness could not be measured: out of memory");
}

void LoudnessMeter::interleave(const PCMBuffer& buffer) {
  const std::uint32_t channels = format_.channels, frames = buffer.frameLength();
  interleaved_.resize(std::size_t(frames) * channels);
  for (std::uint32_t channel = 0; channel < channels; ++channel)
    for (std::uint32_t frame = 0; frame < frames; ++frame) {
      const float sample = buffer.channel(channel)[frame];
      // One that is no number would leave no loudness at all.
      interleaved_[std::size_t(frame) * channels + channel] = std::isfinite(sample) ? sample : 0.0f;
    }
}

Outcome<void> LoudnessMeter::add(const PCMBuffer& buffer) {
  interleave(buffer);
  if (auto added = addInterleaved(interleaved_.data(), buffer.frameLength()); !added) return added;
  for (std::uint32_t channel = 0; channel < format_.channels; ++channel) {
    double peak = 0;
    if (ebur128_prev_true_peak(state_->library, channel, &peak) == EBUR128_SUCCESS)
      truePeak_ = std::max(truePeak_, peak);
  }
  return {};
}

std::int64_t LoudnessMeter::seamFrames(double sampleRate) { return 10 * stepFrames(sampleRate); }

// A channel that is out of use counts as silence, which the gate leaves out; the library adds up a window
// when its last frame comes.
void LoudnessMeter::setHeard(bool isHeard) {
  constexpr std::array kPlaces = {EBUR128_LEFT, EBUR128_RIGHT};
  for (std::uint32_t channel = 0; channel < format_.channels; ++channel)
    ebur128_set_channel(state_->library, channel, isHeard ? kPlaces.at(channel) : EBUR128_UNUSED);
}

Outcome<void> LoudnessMeter::addBefore(const PCMBuffer& buffer) {
  interleave(buffer);
  const std::int64_t step = stepFrames(format_.sampleRate);
  for (std::int64_t done = 0; done < buffer.frameLength();) {
    const std::int64_t untilWindow = step - 1 - framesBefore_ % step;
    const bool endsWindow = untilWindow == 0;
    const std::int64_t frames =
        endsWindow ? 1 : std::min<std::int64_t>(untilWindow, buffer.frameLength() - done);
    if (endsWindow) setHeard(false);
    auto added = addInterleaved(interleaved_.data() + done * format_.channels, std::size_t(frames));
    if (endsWindow) setHeard(true);
    if (!added) return added;
    done += frames;
    framesBefore_ += frames;
  }
  return {};
}

Outcome<Loudness> LoudnessMeter::joined(std::span<const LoudnessMeter* const> pieces) {
  Loudness loudness;
  double truePeak = 0, samplePeak = 0;
  std::vector<ebur128_state*> states;
  for (const LoudnessMeter* piece : pieces) {
    states.push_back(piece->state_->library);
    truePeak = std::max(truePeak, piece->truePeak_);
    for (std::uint32_t channel = 0; channel < piece->format_.channels; ++channel) {
      double peak = 0;
      ebur128_sample_peak(states.back(), channel, &peak);
      samplePeak = std::max(samplePeak, peak);
    }
  }
  if (ebur128_loudness_global_multiple(states.data(), states.size(), &loudness.integratedLUFS) !=
          EBUR128_SUCCESS ||
      ebur128_loudness_range_multiple(states.data(), states.size(), &loudness.rangeLU) != EBUR128_SUCCESS)
    return failure("the loudness could not be measured");
  loudness.truePeakDb = decibels(truePeak);
  loudness.samplePeakDb = decibels(samplePeak);
  return loudness;
}

Outcome<Loudness> measureLoudness(BlockSource& source, ExportProgress& progress) {
  auto meter = LoudnessMeter::create(source.format());
  if (!meter) return std::unexpected(meter.error());
  progress.begin(source.length());
  PCMBuffer block(source.format(), kSourceBlockFrames);
  while (true) {
    if (progress.isCancelled())
      return std::unexpected(Error{kExportCancelledDomain, 1, "measuring the loudness was cancelled"});
    if (auto read = source.read(block, block.frameCapacity()); !read) return std::unexpected(read.error());
    if (block.frameLength() == 0) {
      progress.note(source.notes());
      return meter->result();
    }
    if (auto added = meter->add(block); !added) return std::unexpected(added.error());
    progress.advance(block.frameLength());
  }
}

}  // namespace sonmere
