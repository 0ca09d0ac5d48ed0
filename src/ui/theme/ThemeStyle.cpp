#include "ui/theme/ThemeStyle.h"

#include <QPainter>
#include <QStyleOption>

#include "ui/theme/Theme.h"

namespace sonmere {
namespace {

constexpr double kRadius = 3;

void drawTick(const QStyleOption& option, QPainter& painter) {
  const bool isEnabled = option.state & QStyle::State_Enabled;
  const bool isTicked = option.state & QStyle::State_On;
  const QRectF box = QRectF(option.rect).adjusted(0.5, 0.5, -0.5, -0.5);
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(themed(isTicked && isEnabled ? ColourRole::accent : ColourRole::dimText));
  painter.setBrush(themed(isTicked && isEnabled ? ColourRole::accent : ColourRole::field));
  painter.drawRoundedRect(box, kRadius, kRadius);
  if (isTicked) {
    painter.setPen(QPen(themed(isEnabled ? ColourRole::accentText : ColourRole::dimText), box.width() / 7,
                        Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    const auto at = [&](double x, double y) {
      return QPointF(box.x() + x * box.width(), box.y() + y * box.height());
    };
    const QPointF line[] = {at(0.24, 0.54), at(0.43, 0.73), at(0.77, 0.3)};
    painter.drawPolyline(line, 3);
  }
  painter.restore();
}

}  // namespace

ThemeStyle::ThemeStyle() : QProxyStyle(QStringLiteral("Fusion")) {}

void ThemeStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                               const QWidget* widget) const {
  if (element == PE_IndicatorCheckBox || element == PE_IndicatorItemViewItemCheck)
    drawTick(*option, *painter);
  else
    QProxyStyle::drawPrimitive(element, option, painter, widget);
}

}  // namespace sonmere
