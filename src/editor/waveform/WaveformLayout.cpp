#include "editor/waveform/WaveformLayout.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace sonmere {

namespace {

constexpr double kLeastTickDistance = 90;
constexpr int kLeastLaneHeight = 4;
constexpr int kLevelLabelHeight = 11;
constexpr int kLevelsDb[] = {-6, -12, -24, -36, -48};

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(Error{"WaveformLayout", 1, std::move(text)});
}

// Seconds between ticks: round in the way that people read time.
double tickStep(double secondsPerPixel) {
  const double least = secondsPerPixel * kLeastTickDistance;
  for (double unit = 1e-6; unit < 1; unit *= 10)
    for (const double step : {unit, 2 * unit, 5 * unit})
      if (step >= least) return step;
  for (const double step : {1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600})
    if (step >= least) return step;
  double hours = 2;
  while (hours * 3600 < least) hours *= 2;
  return hours * 3600;
}

int decimalsOf(double step) {
  int decimals = 0;
  for (; decimals < 6 && step < 0.999999; step *= 10) ++decimals;
  return decimals;
}

std::string timeLabel(double seconds, int decimals) {
  const double unit = std::pow(10, decimals);
  const auto units = std::llround(seconds * unit);
  const auto whole = std::int64_t(double(units) / unit);
  std::string fraction;
  if (decimals > 0) fraction = fmt::format(".{:0{}}", units - std::llround(double(whole) * unit), decimals);
  if (whole < 3600) return fmt::format("{}:{:02}{}", whole / 60, whole % 60, fraction);
  return fmt::format("{}:{:02}:{:02}{}", whole / 3600, whole / 60 % 60, whole % 60, fraction);
}

std::vector<WaveformLayout::Tick> ticksOf(const WaveformLayout& layout, double from, double until) {
  const double perPixel = (until - from) / layout.plotWidth, step = tickStep(perPixel);
  std::vector<WaveformLayout::Tick> ticks;
  for (auto number = std::int64_t(std::ceil(from / step - 1e-9));; ++number) {
    const double time = double(number) * step;
    if (time > until + perPixel * 1e-6) return ticks;
    ticks.push_back({layout.plotLeft + (time - from) / perPixel, timeLabel(time, decimalsOf(step))});
  }
}

}  // namespace

double WaveformLayout::Lane::y(float sample) const {
  double part = std::clamp(sample, -1.0f, 1.0f);
  if (scale == Scale::decibels)
    part = std::copysign(std::max(0.0, 1 - 20 * std::log10(std::fabs(part)) / kFloorDb), part);
  return centre() - part * (height / 2.0);
}

std::vector<WaveformLayout::Level> WaveformLayout::levelsIn(const Lane& lane) const {
  std::vector<Level> fitting;
  double free = lane.top;
  for (const Level& level : levels) {
    const double y = lane.y(level.sample);
    if (y < free || y + kLevelLabelHeight > lane.centre()) continue;
    fitting.push_back(level);
    free = y + kLevelLabelHeight;
  }
  return fitting;
}

Outcome<WaveformLayout> layOut(const WaveformEnvelope& envelope, std::int64_t from, std::int64_t until,
                               int width, int height, WaveformLayout::Scale scale) {
  using L = WaveformLayout;
  if (width < L::kLeastWidth || width > L::kMostWidth || height < L::kLeastHeight || height > L::kMostHeight)
    return refuse(fmt::format("a picture of {} × {} pixels can't be drawn; use {} to {} by {} to {}", width,
                              height, L::kLeastWidth, L::kMostWidth, L::kLeastHeight, L::kMostHeight));
  if (envelope.channels.empty() || envelope.totalFrames <= 0) return refuse("there is no audio to be drawn");
  if (from < 0 || from >= until || until > envelope.totalFrames)
    return refuse(fmt::format("the part from frame {} to {} is not one of the file's {} frames", from, until,
                              envelope.totalFrames));
  L layout{.width = width,
           .height = height,
           .plotLeft = L::kMargin,
           .plotWidth = width - 2 * L::kMargin,
           .axisTop = height - L::kAxisHeight,
           .lanes = {},
           .ticks = {},
           .levels = {},
           .columns = {}};
  const int count = int(envelope.channels.size());
  const int laneHeight = (layout.axisTop - L::kMargin - (count - 1) * L::kLaneGap) / count;
  if (laneHeight < kLeastLaneHeight)
    return refuse(fmt::format("{} channels need a picture higher than {} pixels", count, height));
  for (int i = 0; i < count; ++i)
    layout.lanes.push_back({L::kMargin + i * (laneHeight + L::kLaneGap), laneHeight, scale});
  if (scale == L::Scale::decibels)
    for (const int level : kLevelsDb)
      layout.levels.push_back({float(std::pow(10, level / 20.0)), fmt::format("{}", level)});
  const double perColumn = double(until - from) / layout.plotWidth;
  for (std::size_t channel = 0; channel < envelope.channels.size(); ++channel) {
    auto& columns = layout.columns.emplace_back();
    for (int x = 0; x < layout.plotWidth; ++x) {
      const auto first = from + std::int64_t(perColumn * x);
      const auto last = std::max(from + std::int64_t(perColumn * (x + 1)), first + 1);
      columns.push_back(extremes(envelope, channel, first, std::min(last, until)));
    }
  }
  layout.ticks = ticksOf(layout, double(from) / envelope.sampleRate, double(until) / envelope.sampleRate);
  return layout;
}

}  // namespace sonmere
