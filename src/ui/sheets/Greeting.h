#pragma once

#include <QString>

class QWidget;

namespace sonmere {

class Sheet;

// The sheet that greets a user once after an upgrade: "welcome", "routingNote" or "whatIsNew". Null for any
// other name, which a newer service may have.
Sheet* greetingSheet(const QString& name, QWidget* parent);

}  // namespace sonmere
