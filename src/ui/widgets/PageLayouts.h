#pragma once

#include <QGridLayout>
#include <QLabel>
#include <QScrollArea>

#include "ui/theme/Theme.h"

namespace sonmere {

inline QGridLayout* gridIn(QWidget* box) {
  auto* layout = new QGridLayout(box);
  layout->setContentsMargins(kGrid, kGrid, kGrid, kGrid);
  layout->setSpacing(kGrid);
  return layout;
}

// A text before a control, which says what it is also to a screen reader.
inline QLabel* labelFor(const QString& text, QWidget* buddy) {
  auto* label = new QLabel(text);
  label->setBuddy(buddy);
  return label;
}

// A text in words that fills its line and is never read as markup.
inline QLabel* wordsLabel(const QString& text = {}) {
  auto* label = new QLabel(text);
  label->setWordWrap(true);
  label->setTextFormat(Qt::PlainText);
  label->setForegroundRole(QPalette::PlaceholderText);
  return label;
}

// What is higher than the window; Tab goes past the frame to what is in it.
inline QScrollArea* scrolled(QWidget* content) {
  auto* scroll = new QScrollArea;
  scroll->setWidget(content);
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setFocusPolicy(Qt::NoFocus);
  return scroll;
}

// Tab goes through what is in it in the order of its layouts, also to what came later.
void tabInOrder(QWidget& whole);

}  // namespace sonmere
