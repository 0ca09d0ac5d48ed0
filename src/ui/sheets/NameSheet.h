#pragma once

#include <functional>

#include "ui/widgets/Sheet.h"

class QLineEdit;

namespace sonmere {

// Asks for a name: of a finished take, of a Track.
class NameSheet : public Sheet {
  Q_OBJECT

 public:
  NameSheet(const QString& title, const QString& text, const QString& name, QWidget* parent);

  // Below the field: why the name was refused.
  void refuse(const QString& why);

 signals:
  // The user's wish; the sheet stays until it is dismissed.
  void chosen(const QString& name);

 private:
  QLineEdit* name_;
  class QLabel* note_;
};

}  // namespace sonmere
