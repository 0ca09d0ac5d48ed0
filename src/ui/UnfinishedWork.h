#pragma once

#include <QStringList>

class QWidget;

namespace sonmere {

// A widget that holds what would be lost if it went: work that is under way, edits that are in no file.
class UnfinishedWork {
 public:
  virtual ~UnfinishedWork() = default;
  // A sentence each; empty: it may go.
  virtual QStringList unfinishedWork() const = 0;
};

// Of a widget and all in it.
QStringList unfinishedWorkIn(QWidget& widget);
// Of all windows.
QStringList allUnfinishedWork();

}  // namespace sonmere
