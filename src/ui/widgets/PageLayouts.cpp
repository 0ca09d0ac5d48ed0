#include "ui/widgets/PageLayouts.h"

#include <QAbstractSpinBox>

namespace sonmere {
namespace {

void visit(QWidget& widget, QWidget*& last);

void visit(QLayout& layout, QWidget*& last) {
  for (int i = 0; i < layout.count(); ++i) {
    QLayoutItem& item = *layout.itemAt(i);
    if (QWidget* inner = item.widget()) visit(*inner, last);
    if (QLayout* inner = item.layout()) visit(*inner, last);
  }
}

void visit(QWidget& widget, QWidget*& last) {
  if (widget.focusPolicy() & Qt::TabFocus && !widget.focusProxy()) {
    if (last) QWidget::setTabOrder(last, &widget);
    last = &widget;
  }
  if (auto* area = qobject_cast<QScrollArea*>(&widget); area && area->widget()) visit(*area->widget(), last);
  // What a control consists of is its own.
  if (widget.layout() && !qobject_cast<QAbstractSpinBox*>(&widget)) visit(*widget.layout(), last);
}

}  // namespace

void tabInOrder(QWidget& whole) {
  QWidget* last = nullptr;
  visit(whole, last);
}

}  // namespace sonmere
