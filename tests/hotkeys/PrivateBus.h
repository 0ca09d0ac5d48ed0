#pragma once

#include <QDBusConnection>
#include <QProcess>

namespace sonmere {

// A message bus of the test's own.
class PrivateBus {
 public:
  PrivateBus() {
    daemon_.start(QStringLiteral("dbus-daemon"), {QStringLiteral("--session"), QStringLiteral("--nofork"),
                                                  QStringLiteral("--print-address=1")});
    daemon_.waitForStarted();
    while (!daemon_.canReadLine() && daemon_.waitForReadyRead()) {
    }
    address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
  }
  ~PrivateBus() {
    daemon_.terminate();
    daemon_.waitForFinished();
  }

  const QString& address() const { return address_; }
  QDBusConnection connect(const QString& name) const {
    return QDBusConnection::connectToBus(address_, name + address_);
  }

 private:
  QProcess daemon_;
  QString address_;
};

}  // namespace sonmere
