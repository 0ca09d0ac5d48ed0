#include "ui/widgets/EqualiserCurve.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <cmath>

#include "dsp/Equaliser.h"
#include "ui/theme/Theme.h"

namespace sonmere {
namespace {

constexpr double kLowHz = 10;
constexpr double kHighHz = 24000;
constexpr double kRangeDb = 24;
constexpr double kMargin = 8;
constexpr double kSpectrumFloorDb = -90;  // at the lower edge; full scale at the upper
constexpr double kReach = 14;             // how near to a handle the pointer takes it

}  // namespace

EqualiserCurve::EqualiserCurve(QWidget* parent) : QWidget(parent) {
  setAccessibleName(tr("Equaliser curve"));
  setAccessibleDescription(tr("The same values are in the fields below it."));
  setMouseTracking(true);
}

void EqualiserCurve::showSettings(const AppEQSettings& settings) {
  if (settings == settings_ || dragged_ != Handle::none) return;
  settings_ = settings;
  update();
}

void EqualiserCurve::showSpectrum(const std::vector<float>& bandsDb) {
  if (bandsDb == spectrum_) return;
  spectrum_ = bandsDb;
  update();
}

double EqualiserCurve::xOf(double hertz) const {
  return kMargin + std::log(hertz / kLowHz) / std::log(kHighHz / kLowHz) * (width() - 2 * kMargin);
}

double EqualiserCurve::hertzAt(double x) const {
  return logarithmicValue(std::clamp((x - kMargin) / (width() - 2 * kMargin), 0.0, 1.0), kLowHz, kHighHz);
}

double EqualiserCurve::yOf(double decibels) const {
  return kMargin + (1 - decibels / kRangeDb) / 2 * (height() - 2 * kMargin);
}

double EqualiserCurve::decibelsAt(double y) const {
  return (1 - 2 * (y - kMargin) / (height() - 2 * kMargin)) * kRangeDb;
}

QPointF EqualiserCurve::placeOf(Handle handle) const {
  if (handle == Handle::highPass) return {xOf(settings_.highPassFreq), yOf(0)};
  if (handle == Handle::lowPass) return {xOf(settings_.lowPassFreq), yOf(0)};
  return {xOf(settings_.paraFreq), yOf(settings_.paraGain)};
}

EqualiserCurve::Handle EqualiserCurve::handleAt(QPointF place) const {
  Handle nearest = Handle::none;
  double reach = kReach;
  for (const Handle handle : {Handle::bell, Handle::highPass, Handle::lowPass}) {
    const QPointF distance = placeOf(handle) - place;
    if (std::hypot(distance.x(), distance.y()) >= reach) continue;
    reach = std::hypot(distance.x(), distance.y());
    nearest = handle;
  }
  return nearest;
}

void EqualiserCurve::mousePressEvent(QMouseEvent* event) {
  if (event->button() == Qt::LeftButton) dragged_ = handleAt(event->position());
}

void EqualiserCurve::mouseReleaseEvent(QMouseEvent*) { dragged_ = Handle::none; }

void EqualiserCurve::mouseMoveEvent(QMouseEvent* event) {
  if (dragged_ == Handle::none) {
    setCursor(handleAt(event->position()) == Handle::none ? Qt::ArrowCursor : Qt::SizeAllCursor);
    return;
  }
  const double hertz = std::round(hertzAt(event->position().x()));
  if (dragged_ == Handle::highPass) settings_.highPassFreq = std::clamp(hertz, 20.0, 2000.0);
  if (dragged_ == Handle::lowPass) settings_.lowPassFreq = std::clamp(hertz, 1000.0, 20000.0);
  if (dragged_ == Handle::bell) {
    settings_.paraFreq = std::clamp(hertz, 20.0, 20000.0);
    settings_.paraGain =
        std::clamp(std::round(decibelsAt(event->position().y()) * 10) / 10, -kRangeDb, kRangeDb);
  }
  settings_.isEnabled = true;
  update();
  emit edited(settings_);
}

void EqualiserCurve::paintGrid(QPainter& painter) const {
  painter.setPen(themed(ColourRole::line));
  for (const double hertz : {100.0, 1000.0, 10000.0}) {
    painter.drawLine(QPointF(xOf(hertz), kMargin), QPointF(xOf(hertz), height() - kMargin));
  }
  for (const double decibels : {-12.0, 0.0, 12.0}) {
    painter.drawLine(QPointF(kMargin, yOf(decibels)), QPointF(width() - kMargin, yOf(decibels)));
  }
  painter.setPen(themed(ColourRole::dimText));
  QFont small = font();
  small.setPointSizeF(small.pointSizeF() * 0.8);
  painter.setFont(small);
  const std::pair<double, QString> names[] = {
      {100, tr("100 Hz")}, {1000, tr("1 kHz")}, {10000, tr("10 kHz")}};
  for (const auto& [hertz, name] : names)
    painter.drawText(QPointF(xOf(hertz) + 3, height() - kMargin - 2), name);
  painter.drawText(QPointF(kMargin + 2, yOf(12) - 2), tr("+12 dB"));
  painter.drawText(QPointF(kMargin + 2, yOf(-12) - 2), tr("-12 dB"));
}

void EqualiserCurve::paintSpectrum(QPainter& painter) const {
  if (spectrum_.empty()) return;
  const double bottom = height() - kMargin;
  const double bandWidth = (width() - 2 * kMargin) / static_cast<double>(spectrum_.size());
  QPolygonF shape;
  shape << QPointF(kMargin, bottom);
  for (std::size_t i = 0; i < spectrum_.size(); ++i) {
    const double share = std::clamp(1 - spectrum_[i] / kSpectrumFloorDb, 0.0, 1.0);
    shape << QPointF(kMargin + (static_cast<double>(i) + 0.5) * bandWidth,
                     bottom - share * (bottom - kMargin));
  }
  shape << QPointF(width() - kMargin, bottom);
  QColor fill = themed(ColourRole::accent);
  fill.setAlphaF(0.25f);
  painter.setPen(Qt::NoPen);
  painter.setBrush(fill);
  painter.drawPolygon(shape);
}

void EqualiserCurve::paintCurve(QPainter& painter) const {
  QPainterPath path;
  for (double x = kMargin; x <= width() - kMargin; x += 1) {
    const QPointF place(x, yOf(equaliserCurveDb(settings_, hertzAt(x))));
    x == kMargin ? path.moveTo(place) : path.lineTo(place);
  }
  const ColourRole role = settings_.isEnabled ? ColourRole::accent : ColourRole::dimText;
  painter.setPen(QPen(themed(role), 2));
  painter.setBrush(Qt::NoBrush);
  painter.drawPath(path);
  painter.setPen(QPen(themed(ColourRole::field), 2));
  painter.setBrush(themed(role));
  for (const Handle handle : {Handle::highPass, Handle::lowPass, Handle::bell}) {
    painter.drawEllipse(placeOf(handle), 6, 6);
  }
}

void EqualiserCurve::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.fillRect(rect(), themed(ColourRole::field));
  paintSpectrum(painter);
  paintGrid(painter);
  paintCurve(painter);
}

}  // namespace sonmere
