#include "ui/widgets/Sheet.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

#include "ui/theme/Theme.h"

namespace sonmere {

Sheet::Sheet(const QString& title, QWidget* parent)
    : QFrame(parent),
      title_(title),
      card_(new QFrame(this)),
      content_(new QVBoxLayout),
      buttons_(new QHBoxLayout) {
  setAccessibleName(title);
  card_->setAutoFillBackground(true);
  card_->setBackgroundRole(QPalette::Button);
  card_->setFrameShape(QFrame::StyledPanel);
  auto* layout = new QVBoxLayout(card_);
  layout->setContentsMargins(3 * kGrid, 3 * kGrid, 3 * kGrid, 2 * kGrid);
  layout->setSpacing(2 * kGrid);
  auto* heading = new QLabel(title);
  QFont large = heading->font();
  large.setPointSizeF(large.pointSizeF() * 1.4);
  heading->setFont(large);
  heading->setWordWrap(true);
  heading->setTextFormat(Qt::PlainText);
  layout->addWidget(heading);
  content_->setSpacing(kGrid);
  layout->addLayout(content_, 1);
  buttons_->addStretch(1);
  layout->addLayout(buttons_);
  parent->installEventFilter(this);
  hide();
}

void Sheet::addText(const QString& text) {
  auto* label = new QLabel(text);
  label->setWordWrap(true);
  label->setTextFormat(Qt::PlainText);
  content_->addWidget(label);
}

void Sheet::addWidget(QWidget* widget, int stretch) { content_->addWidget(widget, stretch); }

void Sheet::addLayout(QLayout* layout) { content_->addLayout(layout); }

QPushButton* Sheet::addButton(const QString& text, bool isMain, bool stays) {
  auto* button = new QPushButton(text);
  button->setMinimumWidth(12 * kGrid);
  buttons_->addWidget(button);
  if (isMain) {
    main_ = button;
    button->setDefault(true);
  }
  if (!stays) connect(button, &QPushButton::clicked, this, &Sheet::dismiss);
  return button;
}

void Sheet::open() {
  before_ = QApplication::focusWidget();
  cover();
  show();
  raise();
  // A field before a button.
  const auto fields = card_->findChildren<QWidget*>();
  for (QWidget* each : fields) {
    if (each->focusPolicy() & Qt::TabFocus && each->isEnabled() && !qobject_cast<QPushButton*>(each)) {
      return each->setFocus();
    }
  }
  if (main_) main_->setFocus();
}

void Sheet::dismiss() {
  hide();
  if (before_) before_->setFocus();
  emit dismissed();
  deleteLater();
}

// Side by side, or below one another where there is no room for that. The width of the card that they take.
int Sheet::layButtons(int room) {
  for (auto* button : card_->findChildren<QPushButton*>()) button->ensurePolished();
  const QMargins margins = card_->layout()->contentsMargins() + card_->contentsMargins();
  const auto taken = [&] { return buttons_->sizeHint().width() + margins.left() + margins.right(); };
  buttons_->setDirection(QBoxLayout::LeftToRight);
  buttons_->invalidate();
  if (taken() > room) buttons_->setDirection(QBoxLayout::TopToBottom);
  return taken();
}

void Sheet::cover() {
  setGeometry(parentWidget()->rect());
  const int room = this->width() - 4 * kGrid;
  const int width = std::min(std::max(cardSize_.width(), layButtons(room)), room);
  const int wanted = card_->layout()->hasHeightForWidth() ? card_->layout()->totalHeightForWidth(width)
                                                          : card_->sizeHint().height();
  const int height = std::min(std::max(wanted, cardSize_.height()), this->height() - 4 * kGrid);
  card_->setGeometry((this->width() - width) / 2, (this->height() - height) / 3, width, height);
}

void Sheet::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), QColor(0, 0, 0, 140));
}

void Sheet::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape) return dismiss();
  const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
  auto* focused = qobject_cast<QPushButton*>(QApplication::focusWidget());
  if (QPushButton* chosen = focused && isAncestorOf(focused) ? focused : main_;
      isReturn && chosen && chosen->isEnabled()) {
    return chosen->click();
  }
  event->accept();
}

bool Sheet::eventFilter(QObject* watched, QEvent* event) {
  if (watched == parentWidget() && event->type() == QEvent::Resize && isVisible()) cover();
  return QFrame::eventFilter(watched, event);
}

// What lies behind is not reached meanwhile.
bool Sheet::focusNextPrevChild(bool next) {
  QWidget* start = QApplication::focusWidget();
  if (!start || !isAncestorOf(start)) start = card_;
  for (QWidget* at = next ? start->nextInFocusChain() : start->previousInFocusChain(); at != start;
       at = next ? at->nextInFocusChain() : at->previousInFocusChain()) {
    if (isAncestorOf(at) && at->isVisible() && at->isEnabled() && at->focusPolicy() & Qt::TabFocus) {
      at->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
      return true;
    }
  }
  return false;
}

}  // namespace sonmere
