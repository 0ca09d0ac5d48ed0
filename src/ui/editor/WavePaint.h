#pragma once

#include <QLineF>
#include <QPainter>
#include <QVector>
#include <algorithm>

#include "editor/track/WaveformEnvelope.h"

namespace sonmere {

// Draws a wave with the painter's pen: for each column of pixels a line as tall as `extremes` says, which is
// called with the column and told in the order of the columns.
template <class Extremes>
void paintWave(QPainter& painter, const QRectF& lane, int columns, Extremes extremes) {
  const double middle = lane.center().y(), half = lane.height() / 2 - 1;
  QVector<QLineF> lines;
  lines.reserve(columns);
  for (int x = 0; x < columns; ++x) {
    const WaveformBin bin = extremes(x);
    const double top = middle - std::min(1.0, static_cast<double>(bin.maxValue)) * half;
    const double bottom = middle - std::max(-1.0, static_cast<double>(bin.minValue)) * half;
    lines.append({lane.left() + x + 0.5, top, lane.left() + x + 0.5, std::max(bottom, top + 1)});
  }
  painter.drawLines(lines);
}

}  // namespace sonmere
