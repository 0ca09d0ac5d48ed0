#pragma once

#include <QObject>
#include <QPalette>

#include "ui/theme/ColourTable.h"

namespace sonmere {

// The scheme in force. One for the whole program; painted widgets ask it at each paint.
class Theme : public QObject {
  Q_OBJECT

 public:
  static Theme& instance();

  ColourScheme scheme() const { return scheme_; }
  // Takes effect at once on every widget of the application.
  void setScheme(ColourScheme scheme);
  QColor operator()(ColourRole role) const { return colour(role, scheme_); }

 private:
  QPalette palette() const;

  ColourScheme scheme_ = ColourScheme::dark;
};

inline QColor themed(ColourRole role) { return Theme::instance()(role); }

// Lengths are multiples of it, in device-independent pixels.
constexpr int kGrid = 8;

}  // namespace sonmere
