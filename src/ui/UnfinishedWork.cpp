#include "ui/UnfinishedWork.h"

#include <QApplication>
#include <QWidget>

namespace sonmere {

QStringList unfinishedWorkIn(QWidget& widget) {
  QList<QWidget*> all = widget.findChildren<QWidget*>();
  all.prepend(&widget);
  QStringList found;
  for (const QWidget* each : all) {
    if (const auto* holder = dynamic_cast<const UnfinishedWork*>(each)) found << holder->unfinishedWork();
  }
  return found;
}

QStringList allUnfinishedWork() {
  QStringList found;
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (!window->parentWidget()) found << unfinishedWorkIn(*window);
  }
  found.removeDuplicates();
  return found;
}

}  // namespace sonmere
