#include "ui/sheets/Greeting.h"

#include <QCoreApplication>
#include <QPushButton>

#include "ui/widgets/Sheet.h"

namespace sonmere {
namespace {

QString tr(const char* text) { return QCoreApplication::translate("sonmere", text); }

struct Words {
  QString title;
  QStringList lines;
};

Words wordsOf(const QString& name) {
  if (name == QLatin1String("welcome")) {
    return {
        tr("Welcome to the new Sonmere"),
        {tr("Every app has its own volume, from silence to 400 %, with an equaliser and a limiter."),
         tr("Each can be routed to a Track of its own, and every Track be recorded to a file of its own."),
         tr("What you had set up before is as you left it.")}};
  }
  if (name == QLatin1String("routingNote")) {
    return {tr("Your list of apps was tidied up"),
            {tr("System sounds and other services of the system have rows of their own now. Pins and hidden "
                "rows of them from the version before were taken back."),
             tr("All your other apps, with their volumes and routes, are untouched. Hidden rows are behind "
                "\"Hidden too\".")}};
  }
  if (name == QLatin1String("whatIsNew")) {
    return {tr("What is new"),
            {tr("The output has an equaliser and a limiter of its own, at the bottom of the list of apps."),
             tr("Recordings show how they come along, and a drive that stalls is told at once."),
             tr("The guide (F1) shows how to set up a call, a podcast or a stream.")}};
  }
  return {};
}

}  // namespace

Sheet* greetingSheet(const QString& name, QWidget* parent) {
  const Words words = wordsOf(name);
  if (words.title.isEmpty()) return nullptr;
  auto* sheet = new Sheet(words.title, parent);
  for (const QString& line : words.lines) sheet->addText(line);
  sheet->addButton(tr("Continue"), true);
  return sheet;
}

}  // namespace sonmere
