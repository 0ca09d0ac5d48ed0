#pragma once

#include <QProxyStyle>

namespace sonmere {

// What the style draws from shades of the ground, drawn from the colour table: the outline of a tick box
// would not be seen on a dark one.
class ThemeStyle : public QProxyStyle {
  Q_OBJECT

 public:
  ThemeStyle();

  void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
};

}  // namespace sonmere
