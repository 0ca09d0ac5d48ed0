#include "editor/waveform/WaveformLayout.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "base/PrintableText.h"
#include "base/UTF8.h"

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

namespace {

// The smallest picture that has room for a title.
constexpr int kLeastTitledHeight = 100;

Outcome<void> check(const WaveformEnvelope& envelope, std::int64_t from, std::int64_t until, int width,
                    int height) {
  using L = WaveformLayout;
  if (width < L::kLeastWidth || width > L::kMostWidth || height < L::kLeastHeight || height > L::kMostHeight)
    return refuse(fmt::format("a picture of {} × {} pixels can't be drawn; use {} to {} by {} to {}", width,
                              height, L::kLeastWidth, L::kMostWidth, L::kLeastHeight, L::kMostHeight));
  if (envelope.channels.empty() || envelope.totalFrames <= 0) return refuse("there is no audio to be drawn");
  if (from < 0 || from >= until || until > envelope.totalFrames)
    return refuse(fmt::format("the part from frame {} to {} is not one of the file's {} frames", from, until,
                              envelope.totalFrames));
  return {};
}

std::string fittedTitle(const std::string& title, int width) {
  const auto room = std::size_t(std::max(width / WaveformLayout::kTitleAdvance, 3));
  std::string fitted = printable(title);
  std::size_t characters = 0, end = 0, lastFitting = 0;
  for (; end < fitted.size(); ++characters) {
    if (characters == room - 3) lastFitting = end;
    end += std::max<std::size_t>(utf8CharacterBytes(fitted, end), 1);
  }
  return characters <= room ? fitted : fitted.substr(0, lastFitting) + "...";
}

Outcome<void> placeLanes(WaveformLayout& layout, int count, WaveformLayout::Scale scale) {
  using L = WaveformLayout;
  const int top = L::kMargin + (layout.title.empty() ? 0 : L::kTitleHeight);
  const int laneHeight = (layout.axisTop - top - (count - 1) * L::kLaneGap) / count;
  if (laneHeight < kLeastLaneHeight)
    return refuse(fmt::format("{} channels need a picture higher than {} pixels", count, layout.height));
  for (int i = 0; i < count; ++i)
    layout.lanes.push_back({top + i * (laneHeight + L::kLaneGap), laneHeight, scale});
  return {};
}

void fillColumns(WaveformLayout& layout, const WaveformEnvelope& envelope, std::int64_t from,
                 std::int64_t until) {
  const double perColumn = double(until - from) / layout.plotWidth;
  for (std::size_t channel = 0; channel < envelope.channels.size(); ++channel) {
    auto& columns = layout.columns.emplace_back();
    for (int x = 0; x < layout.plotWidth; ++x) {
      const auto first = from + std::int64_t(perColumn * x);
      const auto last = std::min(std::max(from + std::int64_t(perColumn * (x + 1)), first + 1), until);
      const WaveformBin all = columns.emplace_back(extremes(envelope, channel, first, last));
      if (envelope.levels.empty()) continue;
      layout.bodies.resize(channel + 1);
      const float rms = level(envelope, channel, first, last);
      layout.bodies[channel].push_back({std::max(all.minValue, -rms), std::min(all.maxValue, rms)});
    }
  }
}

}  // namespace

Outcome<WaveformLayout> layOut(const WaveformEnvelope& envelope, std::int64_t from, std::int64_t until,
                               int width, int height, WaveformLayout::Scale scale, const std::string& title) {
  using L = WaveformLayout;
  if (auto checked = check(envelope, from, until, width, height); !checked)
    return std::unexpected(checked.error());
  L layout;
  layout.width = width;
  layout.height = height;
  layout.plotLeft = L::kMargin;
  layout.plotWidth = width - 2 * L::kMargin;
  layout.axisTop = height - L::kAxisHeight;
  if (height >= kLeastTitledHeight && !title.empty()) {
    layout.title = title;
    layout.shownTitle = fittedTitle(title, layout.plotWidth);
  }
  if (auto placed = placeLanes(layout, int(envelope.channels.size()), scale); !placed)
    return std::unexpected(placed.error());
  if (scale == L::Scale::decibels)
    for (const int levelDb : kLevelsDb)
      layout.levels.push_back({float(std::pow(10, levelDb / 20.0)), fmt::format("{}", levelDb)});
  fillColumns(layout, envelope, from, until);
  layout.ticks = ticksOf(layout, double(from) / envelope.sampleRate, double(until) / envelope.sampleRate);
  return layout;
}

void placeMarks(WaveformLayout& layout, std::span<const AudioFileMark> marks, std::int64_t from,
                std::int64_t until) {
  constexpr double kLeastText = 4 * WaveformLayout::kTitleAdvance;
  const double perFrame = double(layout.plotWidth) / double(until - from);
  const auto xOf = [&](const AudioFileMark& mark) {
    return layout.plotLeft + double(mark.frame - from) * perFrame;
  };
  for (std::size_t i = 0; i < marks.size(); ++i) {
    if (marks[i].frame < from || marks[i].frame >= until) continue;
    const double x = xOf(marks[i]), edge = double(layout.plotLeft + layout.plotWidth);
    const double room = (i + 1 < marks.size() ? std::min(xOf(marks[i + 1]), edge) : edge) - x - 4;
    layout.marks.push_back({x, room < kLeastText ? "" : fittedTitle(marks[i].text, int(room))});
  }
}

}  // namespace sonmere
