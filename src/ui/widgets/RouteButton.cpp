#include "ui/widgets/RouteButton.h"

#include <QActionGroup>
#include <QMenu>
#include <algorithm>

namespace sonmere {

RouteButton::RouteButton(QWidget* parent) : QToolButton(parent) {
  setPopupMode(QToolButton::InstantPopup);
  setMenu(new QMenu(this));
  connect(menu(), &QMenu::aboutToShow, this, &RouteButton::fillMenu);
  setToolButtonStyle(Qt::ToolButtonTextOnly);
  // The longest of the usual names, so that nothing moves when it changes.
  setMinimumWidth(fontMetrics().horizontalAdvance(tr("Default output")) + 32);
  setAccessibleDescription(tr("Where the sound goes"));
}

void RouteButton::setTargets(const std::vector<RouteTarget>& targets) {
  if (targets == targets_) return;
  targets_ = targets;
  fill();
}

void RouteButton::showTarget(const QString& key, const QString& name) {
  if (key == key_ && name == name_ && !text().isEmpty()) return;
  key_ = key;
  name_ = name.isEmpty() ? key : name;
  fill();
}

void RouteButton::fill() {
  const auto found = std::ranges::find(targets_, key_, &RouteTarget::key);
  const QString name = found == targets_.end() ? name_ : found->name;
  setText(fontMetrics().elidedText(name, Qt::ElideRight,
                                   fontMetrics().horizontalAdvance(tr("Default output")) + 8));
  setToolTip(name);
  setAccessibleName(tr("Route: %1").arg(name));
}

void RouteButton::fillMenu() {
  menu()->clear();
  qDeleteAll(menu()->findChildren<QActionGroup*>());
  auto* choices = new QActionGroup(menu());
  QString group;
  for (const RouteTarget& target : targets_) {
    if (target.group != group) menu()->addSection(group = target.group);
    QAction* action = menu()->addAction(target.name);
    action->setCheckable(true);
    action->setChecked(target.key == key_);
    choices->addAction(action);
    connect(action, &QAction::triggered, this, [this, key = target.key] { emit chosen(key); });
  }
}

}  // namespace sonmere
