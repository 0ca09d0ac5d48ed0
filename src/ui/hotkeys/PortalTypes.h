#pragma once

#include <QDBusArgument>
#include <QString>
#include <QVariantMap>

namespace sonmere {

// (sa{sv}), of which the portal takes and hands out lists.
struct PortalShortcut {
  QString id;
  QVariantMap values;  // "description", "trigger_description"
};

inline QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut) {
  argument.beginStructure();
  argument << shortcut.id << shortcut.values;
  argument.endStructure();
  return argument;
}

inline const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut) {
  argument.beginStructure();
  argument >> shortcut.id >> shortcut.values;
  argument.endStructure();
  return argument;
}

}  // namespace sonmere

Q_DECLARE_METATYPE(sonmere::PortalShortcut)
