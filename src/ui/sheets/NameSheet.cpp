#include "ui/sheets/NameSheet.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "ui/theme/Theme.h"

namespace sonmere {

NameSheet::NameSheet(const QString& title, const QString& text, const QString& name, QWidget* parent)
    : Sheet(title, parent), name_(new QLineEdit(name)), note_(new QLabel) {
  if (!text.isEmpty()) addText(text);
  name_->setAccessibleName(tr("Name"));
  name_->selectAll();
  note_->setWordWrap(true);
  note_->setTextFormat(Qt::PlainText);
  QPalette colours = note_->palette();
  colours.setColor(QPalette::WindowText, themed(ColourRole::dangerText));
  note_->setPalette(colours);
  note_->hide();
  addWidget(name_);
  addWidget(note_);
  addButton(tr("Cancel"), false);
  QPushButton* rename = addButton(tr("Rename"), true, true);
  connect(rename, &QPushButton::clicked, this, [this] { emit chosen(name_->text().trimmed()); });
}

void NameSheet::refuse(const QString& why) {
  note_->setText(why);
  note_->setVisible(!why.isEmpty());
  refit();
}

}  // namespace sonmere
