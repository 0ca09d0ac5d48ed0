#pragma once

#include <QString>
#include <QStringList>

#include "base/Error.h"

namespace sonmere {

// How the window was asked to start.
struct WindowOptions {
  bool demo = false;    // on the embedded server, with apps that play
  QString shotsFolder;  // not empty: pictures of the pages are made there, and the window ends
  QString language;     // of the texts; empty: the user's
  bool showHelp = false;
  bool atLogin = false;  // the log-in started it: it waits in the tray
  QStringList files;     // to be opened, as full paths
};

// The error is one line for the user.
Outcome<WindowOptions> parseWindowArguments(const QStringList& arguments);
QString windowHelp();

}  // namespace sonmere
