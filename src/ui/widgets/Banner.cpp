#include "ui/widgets/Banner.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include "ui/theme/Theme.h"

namespace sonmere {

Banner::Banner(QWidget* parent) : QFrame(parent), text_(new QLabel), action_(new QPushButton) {
  setAutoFillBackground(true);
  setBackgroundRole(QPalette::Button);
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(2 * kGrid, kGrid, 2 * kGrid, kGrid);
  text_->setWordWrap(true);
  text_->setTextFormat(Qt::PlainText);
  layout->addWidget(text_, 1);
  layout->addWidget(action_);
  connect(action_, &QPushButton::clicked, this, &Banner::actionChosen);
  hide();
}

void Banner::tell(const QString& text, const QString& action) {
  text_->setText(text);
  setAccessibleName(text);
  action_->setText(action);
  action_->setVisible(!action.isEmpty());
  setVisible(!text.isEmpty());
}

}  // namespace sonmere
