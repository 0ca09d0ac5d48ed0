#include "ui/widgets/NoteLabel.h"

namespace sonmere {

NoteLabel::NoteLabel(ColourRole colour, QWidget* parent) : QLabel(parent), colour_(colour) {
  setWordWrap(true);
  setTextFormat(Qt::PlainText);
  hide();
}

void NoteLabel::say(const QString& text, bool isRefusal) {
  QPalette colours = palette();
  colours.setColor(QPalette::WindowText, themed(isRefusal ? ColourRole::dangerText : colour_));
  setPalette(colours);
  setText(text);
  setVisible(!text.isEmpty());
}

}  // namespace sonmere
