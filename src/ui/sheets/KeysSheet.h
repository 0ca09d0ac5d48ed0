#pragma once

#include <vector>

#include "ui/widgets/Sheet.h"

namespace sonmere {

// What can be done by a key in any program: which key, or else the command that the user gives one.
struct HotkeyLine {
  QString description;
  QString key;  // empty: none
  QString command;
};

// All keys at a glance: those of the window, and those that work in any program.
class KeysSheet : public Sheet {
  Q_OBJECT

 public:
  // `state` says in words what becomes of the second kind here.
  KeysSheet(const std::vector<HotkeyLine>& hotkeys, const QString& state, QWidget* parent);
};

}  // namespace sonmere
