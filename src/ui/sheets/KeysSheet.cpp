#include "ui/sheets/KeysSheet.h"

#include <QTextBrowser>

#include "ui/pages/GuidePage.h"

namespace sonmere {
namespace {

constexpr QSize kSize(720, 640);

QString inTable(QString text) { return text.replace(QLatin1Char('|'), QLatin1String("\\|")); }

}  // namespace

KeysSheet::KeysSheet(const std::vector<HotkeyLine>& hotkeys, const QString& state, QWidget* parent)
    : Sheet(tr("Keys"), parent) {
  setCardSize(kSize);
  QString text = guideText(QStringLiteral("keys")).section(QLatin1Char('\n'), 2);
  text += QStringLiteral("\n## %1\n\n%2\n\n| | %3 | %4 |\n|---|---|---|\n")
              .arg(tr("In any program"), state, tr("Key"), tr("Command"));
  for (const HotkeyLine& each : hotkeys)
    text += QStringLiteral("| %1 | %2 | `%3` |\n")
                .arg(inTable(each.description), inTable(each.key), inTable(each.command));
  auto* browser = new QTextBrowser;
  browser->setFrameShape(QFrame::NoFrame);
  browser->setAccessibleName(tr("Keys"));
  browser->setMarkdown(text);
  addWidget(browser, 1);
  addButton(tr("Close"), true);
}

}  // namespace sonmere
