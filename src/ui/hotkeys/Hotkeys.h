#pragma once

#include <QObject>
#include <functional>
#include <vector>

#include "ui/hotkeys/ShortcutPortal.h"
#include "ui/sheets/KeysSheet.h"

namespace sonmere {

class Models;

// What can be done by a key while another program has the focus: recording, the microphone, the volumes, and
// each pinned app. The setting sonmere.hotkeys.enabled asks the desktop for the keys.
class Hotkeys : public QObject {
  Q_OBJECT

 public:
  Hotkeys(Models& models, ShortcutPortal& portal, QObject* parent = nullptr);

  // With the key that the desktop gave each, or the command to bind there.
  std::vector<HotkeyLine> lines() const;
  QString stateText() const;

 signals:
  void windowWanted();

 private:
  struct Action {
    QString id, description, command;
    std::function<void()> act;
  };
  std::vector<Action> actions() const;
  void addApp(const struct AppState& app, std::vector<Action>& all) const;
  void press(const QString& id);
  void follow();

  Models& models_;
  ShortcutPortal& portal_;
};

}  // namespace sonmere
