#include "ui/widgets/GainSlider.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>
#include <cmath>

#include "ui/theme/Theme.h"

namespace sonmere {
namespace {

constexpr int kKnob = 8;          // half its width
constexpr double kFloorDb = -60;  // a step down from here is silence, one up from silence is here
constexpr int kWheelStep = 120;

}  // namespace

GainSlider::GainSlider(QWidget* parent) : QAbstractSlider(parent) {
  setOrientation(Qt::Horizontal);
  setFocusPolicy(Qt::StrongFocus);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setAccessibleName(tr("Volume"));
  setMaximumGain(4);
  // A screen reader sets the value itself.
  connect(this, &QAbstractSlider::valueChanged, this, [this](int thousandths) {
    if (thousandths != std::lround(taper_.value * 1000)) choose(static_cast<float>(thousandths) / 1000);
  });
}

void GainSlider::setMaximumGain(float gain) {
  taper_.maxValue = gain;
  setRange(0, static_cast<int>(std::lround(gain * 1000)));
  update();
}

void GainSlider::showGain(float gain) {
  told_ = gain;
  if (!dragging_) set(gain);
}

void GainSlider::set(float gain) {
  const float held = std::clamp(gain, 0.0f, taper_.maxValue);
  if (held == taper_.value && value() == std::lround(held * 1000)) return;
  taper_.value = held;
  setValue(static_cast<int>(std::lround(held * 1000)));
  update();
}

void GainSlider::choose(float gain) {
  set(gain);
  emit gainChosen(taper_.value);
}

void GainSlider::stepBy(double decibels) {
  const double now = taper_.value > 0 ? 20 * std::log10(taper_.value) : kFloorDb - 1;
  const double next = now + decibels;
  if (now < kFloorDb && decibels > 0) return choose(static_cast<float>(std::pow(10, kFloorDb / 20)));
  choose(next < kFloorDb - 0.5 ? 0.0f : static_cast<float>(std::pow(10, next / 20)));
}

double GainSlider::positionAt(double x) const {
  return std::clamp((x - kKnob) / std::max(1, width() - 2 * kKnob), 0.0, 1.0);
}

double GainSlider::xOf(float gain) const { return kKnob + taper_.positionOf(gain) * (width() - 2 * kKnob); }

void GainSlider::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return;
  dragging_ = true;
  choose(taper_.valueAt(positionAt(event->position().x())));
}

void GainSlider::mouseMoveEvent(QMouseEvent* event) {
  if (dragging_) choose(taper_.valueAt(positionAt(event->position().x())));
}

void GainSlider::mouseReleaseEvent(QMouseEvent*) { dragging_ = false; }

void GainSlider::mouseDoubleClickEvent(QMouseEvent* event) {
  if (event->button() == Qt::LeftButton) choose(1);
}

void GainSlider::wheelEvent(QWheelEvent* event) {
  wheelRest_ += event->angleDelta().y();
  for (; std::abs(wheelRest_) >= kWheelStep; wheelRest_ -= std::copysign(kWheelStep, wheelRest_)) {
    stepBy(wheelRest_ > 0 ? 1 : -1);
  }
  event->accept();
}

void GainSlider::keyPressEvent(QKeyEvent* event) {
  switch (event->key()) {
    case Qt::Key_Right:
    case Qt::Key_Up:
      return stepBy(1);
    case Qt::Key_Left:
    case Qt::Key_Down:
      return stepBy(-1);
    case Qt::Key_PageUp:
      return stepBy(6);
    case Qt::Key_PageDown:
      return stepBy(-6);
    case Qt::Key_Home:
      return choose(1);
    case Qt::Key_End:
      return choose(0);
    default:
      event->ignore();
  }
}

void GainSlider::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  const double middle = height() / 2.0;
  const auto bar = [&](double from, double to, const QColor& colour) {
    if (to <= from) return;
    painter.setBrush(colour);
    painter.drawRoundedRect(QRectF(from, middle - 2, to - from, 4), 2, 2);
  };
  const double unity = xOf(1);
  const double now = xOf(taper_.value);
  const bool boosts = taper_.maxValue > 1.001f;
  bar(kKnob, width() - kKnob, themed(ColourRole::line));
  if (boosts) bar(unity, width() - kKnob, themed(ColourRole::boost).darker(200));
  bar(kKnob, std::min(now, unity), themed(isEnabled() ? ColourRole::accent : ColourRole::line));
  bar(unity, now, themed(ColourRole::boost));
  if (boosts) painter.fillRect(QRectF(unity - 0.5, middle - 7, 1, 14), themed(ColourRole::dimText));
  painter.setBrush(themed(isEnabled() ? ColourRole::text : ColourRole::dimText));
  if (hasFocus()) painter.setPen(QPen(themed(ColourRole::focus), 2));
  painter.drawEllipse(QPointF(now, middle), kKnob - 1.5, kKnob - 1.5);
}

}  // namespace sonmere
