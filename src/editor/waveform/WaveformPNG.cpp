#include "editor/waveform/WaveformPNG.h"

#include <png.h>

#include <algorithm>
#include <cmath>

#include "editor/waveform/PixelText.h"

namespace sonmere {

namespace {

constexpr int kTickLength = 5, kLabelTop = 8;
constexpr double kLeastHalfHeight = 0.5;

class Canvas {
 public:
  Canvas(int width, int height, std::uint32_t ground) : width_(width), height_(height) {
    bytes_.resize(std::size_t(width) * std::size_t(height) * 3);
    fill(0, 0, width, height, ground);
  }

  void fill(int left, int top, int width, int height, std::uint32_t colour) {
    for (int y = top; y < top + height; ++y)
      for (int x = left; x < left + width; ++x) blend(x, y, colour, 1);
  }

  // Mixes a pixel with `part` of a colour.
  void blend(int x, int y, std::uint32_t colour, double part) {
    if (x < 0 || x >= width_ || y < 0 || y >= height_) return;
    std::uint8_t* pixel = &bytes_[(std::size_t(y) * std::size_t(width_) + std::size_t(x)) * 3];
    for (int i = 0; i < 3; ++i) {
      const double wanted = colour >> (16 - 8 * i) & 0xFF;
      pixel[i] = std::uint8_t(std::lround(pixel[i] + (wanted - pixel[i]) * part));
    }
  }

  // Between two heights, of which the ends cover their pixels in part.
  void column(int x, double top, double bottom, std::uint32_t colour) {
    for (int y = int(std::floor(top)); y < int(std::ceil(bottom)); ++y)
      blend(x, y, colour, std::min(bottom, y + 1.0) - std::max(top, double(y)));
  }

  Outcome<std::string> encoded() const {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = png_uint_32(width_);
    image.height = png_uint_32(height_);
    image.format = PNG_FORMAT_RGB;
    png_alloc_size_t size = 0;
    std::string png;
    if (png_image_write_get_memory_size(image, size, 0, bytes_.data(), 0, nullptr)) {
      png.resize(size);
      if (png_image_write_to_memory(&image, png.data(), &size, 0, bytes_.data(), 0, nullptr)) {
        png.resize(size);
        return png;
      }
    }
    return std::unexpected(
        Error{"WaveformPNG", 1, std::string("the picture can't be made: ") + image.message});
  }

 private:
  const int width_, height_;
  std::vector<std::uint8_t> bytes_;
};

void drawLevels(Canvas& canvas, const WaveformLayout& layout, const WaveformLayout::Lane& lane,
                const WaveformColours& colours) {
  for (const WaveformLayout::Level& level : layout.levels)
    for (const float side : {1.0f, -1.0f})
      for (int x = 0; x < layout.plotWidth; ++x)
        canvas.blend(layout.plotLeft + x, int(lane.y(side * level.sample)), colours.axis, 0.5);
  for (const WaveformLayout::Level& level : layout.levelsIn(lane))
    drawPixelText(level.label, layout.plotLeft + 2, int(lane.y(level.sample)) + 2,
                  [&](int x, int y) { canvas.blend(x, y, colours.label, 1); });
}

void drawChannel(Canvas& canvas, const WaveformLayout& layout, std::size_t channel,
                 const WaveformColours& colours) {
  const WaveformLayout::Lane& lane = layout.lanes[channel];
  const auto& columns = layout.columns[channel];
  canvas.fill(layout.plotLeft, lane.top, layout.plotWidth, lane.height, colours.lane);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    WaveformBin bin = columns[i];
    // Reaches for the column before, so that a steep line has no gaps.
    if (i > 0) {
      bin.maxValue = std::max(bin.maxValue, columns[i - 1].minValue);
      bin.minValue = std::min(bin.minValue, columns[i - 1].maxValue);
    }
    const int x = layout.plotLeft + int(i);
    const double top = std::min(lane.y(bin.maxValue), lane.centre() - kLeastHalfHeight);
    const double bottom = std::max(lane.y(bin.minValue), lane.centre() + kLeastHalfHeight);
    canvas.column(x, top, bottom, colours.wave);
    if (columns[i].maxValue >= WaveformLayout::kFullScale) canvas.fill(x, lane.top, 1, 2, colours.clipped);
    if (columns[i].minValue <= -WaveformLayout::kFullScale)
      canvas.fill(x, lane.top + lane.height - 2, 1, 2, colours.clipped);
  }
  if (!layout.bodies.empty())
    for (std::size_t i = 0; i < columns.size(); ++i)
      canvas.column(layout.plotLeft + int(i), lane.y(layout.bodies[channel][i].maxValue),
                    lane.y(layout.bodies[channel][i].minValue), colours.body);
  canvas.fill(layout.plotLeft, int(lane.centre()), layout.plotWidth, 1, colours.centre);
  drawLevels(canvas, layout, lane, colours);
}

void drawAxis(Canvas& canvas, const WaveformLayout& layout, const WaveformColours& colours) {
  for (const WaveformLayout::Tick& tick : layout.ticks) {
    const int x = int(std::lround(tick.x));
    canvas.fill(x, layout.axisTop, 1, kTickLength, colours.axis);
    // One that would be cut off is left out.
    if (x + 3 + pixelTextWidth(tick.label) > layout.width) continue;
    drawPixelText(tick.label, x + 3, layout.axisTop + kLabelTop,
                  [&](int dotX, int dotY) { canvas.blend(dotX, dotY, colours.label, 1); });
  }
}

void drawMarks(Canvas& canvas, const WaveformLayout& layout, const WaveformColours& colours) {
  for (const WaveformLayout::Mark& mark : layout.marks) {
    const int x = int(std::lround(mark.x));
    canvas.fill(x, WaveformLayout::kMargin, 1, layout.axisTop - WaveformLayout::kMargin, colours.mark);
    drawPixelText(mark.shownText, x + 3, layout.lanes.front().top + 3,
                  [&](int dotX, int dotY) { canvas.blend(dotX, dotY, colours.mark, 1); });
  }
}

}  // namespace

Outcome<std::string> waveformPNG(const WaveformLayout& layout, const WaveformColours& colours) {
  Canvas canvas(layout.width, layout.height, colours.background);
  for (std::size_t i = 0; i < layout.lanes.size(); ++i) drawChannel(canvas, layout, i, colours);
  drawAxis(canvas, layout, colours);
  drawMarks(canvas, layout, colours);
  drawPixelText(layout.shownTitle, layout.plotLeft, WaveformLayout::kMargin - 2,
                [&](int x, int y) { canvas.blend(x, y, colours.label, 1); });
  return canvas.encoded();
}

}  // namespace sonmere
