#include "ui/hotkeys/ShortcutPortal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include "ui/hotkeys/PortalTypes.h"

namespace sonmere {
namespace {

const QString kPortal = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kObject = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kShortcuts = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString kRequest = QStringLiteral("org.freedesktop.portal.Request");
const QString kSession = QStringLiteral("org.freedesktop.portal.Session");

QString connectionName(const QString& address) { return QStringLiteral("sonmere ") + address; }

QDBusConnection connectionTo(const QString& address) {
  if (address.isEmpty()) return QDBusConnection::sessionBus();
  return QDBusConnection::connectToBus(address, connectionName(address));
}

}  // namespace

struct ShortcutPortal::Bus {
  explicit Bus(const QString& address) : connection(connectionTo(address)) {}

  QDBusConnection connection;
  int requests = 0;

  // Where the portal will tell of a request, and the token that makes it so.
  QString nextToken() { return QStringLiteral("sonmere%1").arg(++requests); }
  QString placeOf(const QString& token) const {
    QString sender = connection.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    return QStringLiteral("%1/request/%2/%3").arg(kObject, sender, token);
  }
};

ShortcutPortal::ShortcutPortal(const QString& address, QObject* parent)
    : QObject(parent), bus_(std::make_unique<Bus>(address)) {
  qDBusRegisterMetaType<PortalShortcut>();
  qDBusRegisterMetaType<QList<PortalShortcut>>();
  bus_->connection.connect(kPortal, kObject, kShortcuts, QStringLiteral("Activated"), this,
                           SLOT(activated(QDBusMessage)));
  bus_->connection.connect(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                           QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"),
                           {kPortal}, QString(), this, SLOT(ownerChanged(QString, QString, QString)));
}

ShortcutPortal::~ShortcutPortal() {
  release();
  if (const QString name = bus_->connection.name(); name.startsWith(QLatin1String("sonmere ")))
    QDBusConnection::disconnectFromBus(name);
}

void ShortcutPortal::enter(State state) {
  state_ = state;
  if (state != State::bound) triggers_.clear();
  emit changed();
}

// The answer may come before the call returns, so that its place is listened to first.
void ShortcutPortal::request(const QString& method, const QVariantList& arguments, QVariantMap options,
                             const char* answer) {
  const QString token = bus_->nextToken();
  options[QStringLiteral("handle_token")] = token;
  bus_->connection.connect(kPortal, bus_->placeOf(token), kRequest, QStringLiteral("Response"), this, answer);
  QDBusMessage call = QDBusMessage::createMethodCall(kPortal, kObject, kShortcuts, method);
  call.setArguments(arguments + QVariantList{options});
  auto* watcher = new QDBusPendingCallWatcher(bus_->connection.asyncCall(call), this);
  connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* done) {
    if (done->isError()) enter(State::missing);
    done->deleteLater();
  });
}

void ShortcutPortal::bind(const std::vector<Shortcut>& shortcuts) {
  if (shortcuts == wanted_ && (state_ == State::asking || state_ == State::bound)) return;
  release();
  wanted_ = shortcuts;
  if (!bus_->connection.isConnected()) return enter(State::missing);
  enter(State::asking);
  request(QStringLiteral("CreateSession"), {},
          {{QStringLiteral("session_handle_token"), QStringLiteral("sonmere%1").arg(bus_->requests)}},
          SLOT(sessionMade(uint, QVariantMap)));
}

void ShortcutPortal::sessionMade(uint response, const QVariantMap& results) {
  if (state_ != State::asking) return;
  session_ = results.value(QStringLiteral("session_handle")).toString();
  if (response != 0 || session_.isEmpty()) return enter(State::refused);
  QList<PortalShortcut> list;
  for (const Shortcut& each : wanted_)
    list.append({each.id, {{QStringLiteral("description"), each.description}}});
  request(QStringLiteral("BindShortcuts"),
          {QVariant::fromValue(QDBusObjectPath(session_)), QVariant::fromValue(list), QString()}, {},
          SLOT(shortcutsBound(uint, QVariantMap)));
}

void ShortcutPortal::shortcutsBound(uint response, const QVariantMap& results) {
  if (state_ != State::asking) return;
  if (response != 0) return enter(State::refused);
  const auto bound = qdbus_cast<QList<PortalShortcut>>(results.value(QStringLiteral("shortcuts")));
  triggers_.clear();
  for (const PortalShortcut& each : bound)
    triggers_[each.id] = each.values.value(QStringLiteral("trigger_description")).toString();
  enter(State::bound);
}

void ShortcutPortal::activated(const QDBusMessage& message) {
  const QVariantList arguments = message.arguments();
  if (arguments.size() < 2 || state_ != State::bound) return;
  if (arguments.at(0).value<QDBusObjectPath>().path() == session_) emit pressed(arguments.at(1).toString());
}

// A portal that comes back knows of no session.
void ShortcutPortal::ownerChanged(const QString&, const QString&, const QString& now) {
  if (state_ == State::off) return;
  session_.clear();
  if (now.isEmpty()) return enter(State::missing);
  const std::vector<Shortcut> wanted = wanted_;
  release();
  bind(wanted);
}

void ShortcutPortal::release() {
  if (!session_.isEmpty())
    bus_->connection.send(
        QDBusMessage::createMethodCall(kPortal, session_, kSession, QStringLiteral("Close")));
  session_.clear();
  wanted_.clear();
  if (state_ != State::off) enter(State::off);
}

}  // namespace sonmere
