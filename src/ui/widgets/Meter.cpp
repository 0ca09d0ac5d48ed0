#include "ui/widgets/Meter.h"

#include <QPainter>
#include <cmath>

#include "ui/theme/Theme.h"

namespace sonmere {
namespace {

constexpr double kMiddleDb = -18;
constexpr double kHighDb = -6;

}  // namespace

Meter::Meter(QWidget* parent) : QWidget(parent) {
  clock_.start();
  setAccessibleName(tr("Level"));
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void Meter::setLevel(std::optional<double> levelDb, double gainReductionDb) {
  ballistics_.tell(levelDb, clock_.elapsed() / 1000.0);
  gainReductionDb_ = gainReductionDb;
  if (pixels() != shown_) update();
}

int Meter::xOf(double db) const {
  const double share = (db - MeterBallistics::kFloorDb) / -MeterBallistics::kFloorDb;
  return static_cast<int>(std::lround(std::clamp(share, 0.0, 1.0) * width()));
}

Meter::Pixels Meter::pixels() const {
  return {xOf(ballistics_.barDb()), xOf(ballistics_.peakDb()), width() - xOf(-std::abs(gainReductionDb_))};
}

void Meter::paintEvent(QPaintEvent*) {
  shown_ = pixels();
  QPainter painter(this);
  painter.fillRect(rect(), themed(ColourRole::field));
  const int middle = xOf(kMiddleDb);
  const int high = xOf(kHighDb);
  const auto fill = [&](int from, int to, ColourRole role) {
    if (to > from) painter.fillRect(from, 0, to - from, height(), themed(role));
  };
  fill(0, std::min(shown_.bar, middle), ColourRole::meterLow);
  fill(middle, std::min(shown_.bar, high), ColourRole::meterMiddle);
  fill(high, shown_.bar, ColourRole::meterHigh);
  if (shown_.peak > 1) {
    const ColourRole role = shown_.peak > high     ? ColourRole::meterHigh
                            : shown_.peak > middle ? ColourRole::meterMiddle
                                                   : ColourRole::meterLow;
    painter.fillRect(shown_.peak - 2, 0, 2, height(), themed(role));
  }
  if (shown_.reduction > 0) {
    painter.fillRect(width() - shown_.reduction, 0, shown_.reduction, height() / 3,
                     themed(ColourRole::gainReduction));
  }
}

}  // namespace sonmere
