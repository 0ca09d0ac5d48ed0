#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>

#include "ui/hotkeys/PortalTypes.h"

namespace sonmere {

// The desktop's portal for global shortcuts, whose user answers as a test says.
class FakePortal : public QDBusVirtualObject {
 public:
  explicit FakePortal(QDBusConnection bus) : bus_(std::move(bus)) {
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
    bus_.registerVirtualObject(QStringLiteral("/org/freedesktop/portal/desktop"), this,
                               QDBusConnection::SubPath);
    appear();
  }

  void appear() { bus_.registerService(QStringLiteral("org.freedesktop.portal.Desktop")); }
  void vanish() { bus_.unregisterService(QStringLiteral("org.freedesktop.portal.Desktop")); }
  void press(const QString& id, const QString& session = {}) {
    QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/portal/desktop"),
                                                     QStringLiteral("org.freedesktop.portal.GlobalShortcuts"),
                                                     QStringLiteral("Activated"));
    signal << QVariant::fromValue(QDBusObjectPath(session.isEmpty() ? session_ : session)) << id
           << qulonglong(1) << QVariantMap();
    bus_.send(signal);
  }

  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override {
    const QVariantList arguments = message.arguments();
    if (message.member() == QLatin1String("CreateSession")) {
      session_ = QStringLiteral("/org/freedesktop/portal/desktop/session/%1").arg(++sessions);
      respond(message, arguments.at(0), 0, {{QStringLiteral("session_handle"), session_}});
    } else if (message.member() == QLatin1String("BindShortcuts")) {
      bound = qdbus_cast<QList<PortalShortcut>>(arguments.at(1));
      QList<PortalShortcut> told = bound;
      for (PortalShortcut& each : told)
        each.values[QStringLiteral("trigger_description")] = QLatin1String("Super+") + each.id.left(1);
      respond(message, arguments.at(3), answer, {{QStringLiteral("shortcuts"), QVariant::fromValue(told)}});
    } else if (message.member() == QLatin1String("Close")) {
      ++closed;
      bus_.send(message.createReply());
    } else {
      return false;
    }
    return true;
  }

  uint answer = 0;  // of the user: 0 yes, 1 no
  int sessions = 0, closed = 0;
  QList<PortalShortcut> bound;

 private:
  void respond(const QDBusMessage& call, const QVariant& options, uint response, const QVariantMap& results) {
    const QString token = qdbus_cast<QVariantMap>(options).value(QStringLiteral("handle_token")).toString();
    QString sender = call.service().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    const QString place = QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token);
    bus_.send(call.createReply(QVariant::fromValue(QDBusObjectPath(place))));
    QDBusMessage signal = QDBusMessage::createSignal(place, QStringLiteral("org.freedesktop.portal.Request"),
                                                     QStringLiteral("Response"));
    signal << response << results;
    bus_.send(signal);
  }

  QDBusConnection bus_;
  QString session_;
};

}  // namespace sonmere
