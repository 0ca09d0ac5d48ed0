#pragma once

#include <QObject>
#include <QStringList>
#include <QVariantMap>
#include <map>
#include <memory>
#include <vector>

Q_MOC_INCLUDE(<QDBusMessage>)
class QDBusMessage;

namespace sonmere {

// Keys that the desktop hands on while another program has the focus: its portal's GlobalShortcuts. The
// desktop asks the user which keys they are to be.
class ShortcutPortal : public QObject {
  Q_OBJECT

 public:
  struct Shortcut {
    QString id;
    QString description;  // for the user

    bool operator==(const Shortcut&) const = default;
  };
  enum class State {
    off,
    asking,   // the desktop, which may ask the user
    bound,    // pressed ones are told
    refused,  // by the user or the desktop
    missing   // this desktop has no such portal
  };

  // `address` of the bus; empty: the session's.
  explicit ShortcutPortal(const QString& address = {}, QObject* parent = nullptr);
  ~ShortcutPortal() override;

  State state() const { return state_; }
  // As the desktop calls the keys, by identifier.
  const std::map<QString, QString>& triggers() const { return triggers_; }

  // In the place of what was bound before.
  void bind(const std::vector<Shortcut>& shortcuts);
  void release();

 signals:
  void changed();
  void pressed(const QString& id);

 private slots:
  void sessionMade(uint response, const QVariantMap& results);
  void shortcutsBound(uint response, const QVariantMap& results);
  void activated(const QDBusMessage& message);
  void ownerChanged(const QString& service, const QString& before, const QString& now);

 private:
  struct Bus;
  void enter(State state);
  // Calls the portal; what comes of it is told to `answer`, a slot.
  void request(const QString& method, const QVariantList& arguments, QVariantMap options, const char* answer);

  std::unique_ptr<Bus> bus_;
  State state_ = State::off;
  QString session_;
  std::vector<Shortcut> wanted_;
  std::map<QString, QString> triggers_;
};

}  // namespace sonmere
