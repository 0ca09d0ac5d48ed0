#include "editor/waveform/WaveformSVG.h"

#include <fmt/format.h>

#include <cmath>
#include <iterator>

namespace sonmere {

namespace {

constexpr int kTickLength = 5;
// A silent column is still a line that can be seen.
constexpr double kLeastHalfHeight = 0.4;

// Along the upper edge and back along the lower one.
std::string outline(const WaveformLayout& layout, const WaveformLayout::Lane& lane,
                    const std::vector<WaveformBin>& columns) {
  std::string path;
  const auto point = [&](std::size_t x, double y) {
    fmt::format_to(std::back_inserter(path), "{}{:.1f} {:.2f}", path.empty() ? "M" : "L",
                   double(layout.plotLeft) + double(x) + 0.5, y);
  };
  for (std::size_t x = 0; x < columns.size(); ++x)
    point(x, std::min(lane.y(columns[x].maxValue), lane.centre() - kLeastHalfHeight));
  for (std::size_t x = columns.size(); x-- > 0;)
    point(x, std::max(lane.y(columns[x].minValue), lane.centre() + kLeastHalfHeight));
  return path + "Z";
}

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '&')
      result += "&amp;";
    else if (c == '<')
      result += "&lt;";
    else if (c == '>')
      result += "&gt;";
    else
      result += c;
  }
  return result;
}

// Marks of samples at full scale or beyond, above and below.
std::string clippedMarks(const WaveformLayout& layout, std::size_t channel) {
  const WaveformLayout::Lane& lane = layout.lanes[channel];
  const auto& columns = layout.columns[channel];
  std::string path;
  for (std::size_t x = 0; x < columns.size(); ++x) {
    const std::size_t column = std::size_t(layout.plotLeft) + x;
    if (columns[x].maxValue >= WaveformLayout::kFullScale)
      fmt::format_to(std::back_inserter(path), "M{} {}h1v2h-1Z", column, lane.top);
    if (columns[x].minValue <= -WaveformLayout::kFullScale)
      fmt::format_to(std::back_inserter(path), "M{} {}h1v2h-1Z", column, lane.top + lane.height - 2);
  }
  return path;
}

}  // namespace

std::string waveformSVG(const WaveformLayout& layout, const WaveformColours& colours) {
  std::string svg;
  const auto add = [&]<class... Args>(fmt::format_string<Args...> form, Args&&... args) {
    fmt::format_to(std::back_inserter(svg), form, std::forward<Args>(args)...);
  };
  add("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\">\n",
      layout.width, layout.height);
  add("<rect width=\"{}\" height=\"{}\" fill=\"#{:06x}\"/>\n", layout.width, layout.height,
      colours.background);
  if (!layout.shownTitle.empty())
    add("<text x=\"{}\" y=\"{}\" font-family=\"sans-serif\" font-size=\"10\" fill=\"#{:06x}\">{}</text>\n",
        layout.plotLeft, WaveformLayout::kMargin + 7, colours.label, escaped(layout.shownTitle));
  for (std::size_t i = 0; i < layout.lanes.size(); ++i) {
    const WaveformLayout::Lane& lane = layout.lanes[i];
    add("<g class=\"channel\">\n<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" fill=\"#{:06x}\"/>\n",
        layout.plotLeft, lane.top, layout.plotWidth, lane.height, colours.lane);
    add("<path d=\"{}\" fill=\"#{:06x}\"/>\n", outline(layout, lane, layout.columns[i]), colours.wave);
    if (!layout.bodies.empty())
      add("<path class=\"body\" d=\"{}\" fill=\"#{:06x}\"/>\n", outline(layout, lane, layout.bodies[i]),
          colours.body);
    add("<path d=\"M{} {:.1f}h{}\" stroke=\"#{:06x}\"/>\n", layout.plotLeft, lane.centre(), layout.plotWidth,
        colours.centre);
    for (const WaveformLayout::Level& level : layout.levels)
      for (const float side : {1.0f, -1.0f})
        add("<path class=\"level\" d=\"M{} {:.1f}h{}\" stroke=\"#{:06x}\" stroke-opacity=\".5\"/>\n",
            layout.plotLeft, lane.y(side * level.sample), layout.plotWidth, colours.axis);
    for (const WaveformLayout::Level& level : layout.levelsIn(lane))
      add("<text x=\"{}\" y=\"{:.1f}\" font-family=\"sans-serif\" font-size=\"9\" "
          "fill=\"#{:06x}\">{}</text>\n",
          layout.plotLeft + 2, lane.y(level.sample) + 9, colours.label, level.label);
    if (const std::string marks = clippedMarks(layout, i); !marks.empty())
      add("<path class=\"clipped\" d=\"{}\" fill=\"#{:06x}\"/>\n", marks, colours.clipped);
    add("</g>\n");
  }
  for (const WaveformLayout::Mark& mark : layout.marks) {
    add("<path class=\"mark\" d=\"M{:.1f} {}V{}\" stroke=\"#{:06x}\"/>", mark.x, WaveformLayout::kMargin,
        layout.axisTop, colours.mark);
    add("<text x=\"{:.1f}\" y=\"{}\" font-family=\"sans-serif\" font-size=\"10\" "
        "fill=\"#{:06x}\">{}</text>\n",
        mark.x + 3, layout.lanes.front().top + 10, colours.mark, escaped(mark.shownText));
  }
  add("<g font-family=\"sans-serif\" font-size=\"10\" fill=\"#{:06x}\" stroke-width=\"1\">\n", colours.label);
  for (const WaveformLayout::Tick& tick : layout.ticks) {
    add("<path d=\"M{:.1f} {}v{}\" stroke=\"#{:06x}\"/>", tick.x, layout.axisTop, kTickLength, colours.axis);
    add("<text x=\"{:.1f}\" y=\"{}\">{}</text>\n", tick.x + 3, layout.axisTop + 13, tick.label);
  }
  add("</g>\n</svg>\n");
  return svg;
}

}  // namespace sonmere
