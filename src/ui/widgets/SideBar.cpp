#include "ui/widgets/SideBar.h"

#include <QButtonGroup>
#include <QMenu>
#include <QToolButton>
#include <QVBoxLayout>

#include "ui/theme/Icons.h"
#include "ui/theme/Theme.h"

namespace sonmere {
namespace {

constexpr int kIcon = 20;
constexpr int kWidth = 160;

}  // namespace

SideBar::SideBar(QWidget* parent) : QFrame(parent), group_(new QButtonGroup(this)) {
  setAutoFillBackground(true);
  setBackgroundRole(QPalette::AlternateBase);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(kGrid, 2 * kGrid, kGrid, kGrid);
  layout->setSpacing(kGrid / 2);
  layout->addStretch(1);
  group_->setExclusive(true);
  connect(group_, &QButtonGroup::idClicked, this, &SideBar::chosen);
}

void SideBar::addPage(const QString& icon, const QString& name) {
  auto* button = new QToolButton;
  button->setCheckable(true);
  button->setAutoRaise(true);
  button->setIcon(themedIcon(icon));
  button->setIconSize({kIcon, kIcon});
  button->setText(name);
  button->setToolTip(name);
  button->setAccessibleName(name);
  button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  button->setFocusPolicy(Qt::StrongFocus);
  button->setShortcut(
      QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + static_cast<int>(buttons_.size()))));
  group_->addButton(button, static_cast<int>(buttons_.size()));
  static_cast<QVBoxLayout*>(layout())->insertWidget(static_cast<int>(buttons_.size()), button);
  buttons_.push_back(button);
  setFolded(false);
}

void SideBar::setMenu(QMenu* menu) {
  menu_ = new QToolButton;
  menu_->setAutoRaise(true);
  menu_->setIcon(themedIcon(QStringLiteral("menu")));
  menu_->setIconSize({kIcon, kIcon});
  menu_->setText(tr("Menu"));
  menu_->setToolTip(tr("Menu"));
  menu_->setAccessibleName(tr("Menu"));
  menu_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  menu_->setFocusPolicy(Qt::StrongFocus);
  menu_->setPopupMode(QToolButton::InstantPopup);
  menu_->setMenu(menu);
  layout()->addWidget(menu_);
  setFolded(false);
}

void SideBar::setFolded(bool folded) {
  setFixedWidth(folded ? kIcon + 5 * kGrid : kWidth);
  std::vector<QToolButton*> all = buttons_;
  if (menu_) all.push_back(menu_);
  for (QToolButton* button : all) {
    button->setToolButtonStyle(folded ? Qt::ToolButtonIconOnly : Qt::ToolButtonTextBesideIcon);
  }
}

void SideBar::select(int page) { buttons_.at(static_cast<std::size_t>(page))->setChecked(true); }

}  // namespace sonmere
