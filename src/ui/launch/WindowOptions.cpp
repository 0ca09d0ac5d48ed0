#include "ui/launch/WindowOptions.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace sonmere {
namespace {

QString tr(const char* text) { return QCoreApplication::translate("sonmere", text); }

std::unexpected<Error> refuse(const QString& text) {
  return std::unexpected(Error{"WindowOptions", 1, text.toStdString()});
}

}  // namespace

Outcome<WindowOptions> parseWindowArguments(const QStringList& arguments) {
  WindowOptions options;
  for (qsizetype i = 1; i < arguments.size(); ++i) {
    const QString& argument = arguments[i];
    if (argument == QLatin1String("--demo")) {
      options.demo = true;
    } else if (argument == QLatin1String("--language")) {
      if (++i == arguments.size()) return refuse(tr("--language needs a language, as \"de\"."));
      options.language = arguments[i];
    } else if (argument == QLatin1String("--at-login")) {
      options.atLogin = true;
    } else if (argument == QLatin1String("--help") || argument == QLatin1String("-h")) {
      options.showHelp = true;
    } else if (argument == QLatin1String("--shots")) {
      if (++i == arguments.size()) return refuse(tr("--shots needs a folder for the pictures."));
      options.shotsFolder = arguments[i];
      if (!QDir().mkpath(options.shotsFolder)) {
        return refuse(tr("--shots: the folder %1 can't be made.").arg(options.shotsFolder));
      }
    } else if (!argument.startsWith(QLatin1Char('-'))) {
      options.files << QFileInfo(argument).absoluteFilePath();
    } else {
      return refuse(tr("\"%1\" is no option of the window; --help lists them.").arg(argument));
    }
  }
  return options;
}

QString windowHelp() {
  return tr(
      "sonmere-window [--demo] [--at-login] [--language LANG] [--shots DIR] [FILE...]\n"
      "  FILE         audio files: one opens in the editor, several side by side\n"
      "  --demo       three apps that play on the embedded server: to look around, also without audio\n"
      "  --at-login   waits in the tray\n"
      "  --language   of the texts: en, de\n"
      "  --shots DIR  pictures of every page, without a display\n");
}

}  // namespace sonmere
