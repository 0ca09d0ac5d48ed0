#pragma once

#include <QLabel>

#include "ui/theme/Theme.h"

namespace sonmere {

// A line that tells what became of an act, or why it was refused; hidden while there is nothing to tell.
class NoteLabel : public QLabel {
 public:
  // `colour` is that of what is no refusal.
  explicit NoteLabel(ColourRole colour = ColourRole::warningText, QWidget* parent = nullptr);

  void say(const QString& text, bool isRefusal);

 private:
  const ColourRole colour_;
};

}  // namespace sonmere
