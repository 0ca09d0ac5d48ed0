#include "ui/widgets/LevelHistory.h"

#include <QPainter>
#include <algorithm>

#include "ui/theme/Theme.h"

namespace sonmere {
namespace {

constexpr double kFloorDb = -60;
constexpr std::size_t kMostColumns = 2000;
constexpr int kColumnWidth = 2;  // pixels

}  // namespace

LevelHistory::LevelHistory(QWidget* parent) : QWidget(parent) {
  setAccessibleName(tr("Level so far"));
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
}

void LevelHistory::add(double peakDb) {
  const auto height = static_cast<float>(std::clamp(1 - peakDb / kFloorDb, 0.0, 1.0));
  if (columns_.empty() || clock_.elapsed() >= kColumnMilliseconds) {
    clock_.start();
    columns_.push_back(height);
    if (columns_.size() > kMostColumns) columns_.pop_front();
  } else if (height <= columns_.back()) {
    return;
  } else {
    columns_.back() = height;
  }
  update();
}

void LevelHistory::clear() {
  columns_.clear();
  update();
}

void LevelHistory::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), themed(ColourRole::field));
  const double middle = height() / 2.0;
  int x = width() - kColumnWidth;
  for (auto column = columns_.rbegin(); column != columns_.rend() && x >= 0; ++column, x -= kColumnWidth) {
    const double half = std::max(0.5, *column * (middle - 1));
    painter.fillRect(QRectF(x, middle - half, kColumnWidth - 0.5, 2 * half), themed(ColourRole::meterLow));
  }
}

}  // namespace sonmere
