#include <gtest/gtest.h>

#include <QFile>
#include <QListWidget>
#include <QRegularExpression>
#include <QTextBrowser>
#include <QUrl>

#include "ui/pages/GuidePage.h"

namespace sonmere {
namespace {

TEST(GuidePage, EveryChapterHasItsTextAndItsLinksLeadSomewhereInBothLanguages) {
  GuidePage page;
  auto* text = page.findChild<QTextBrowser*>();
  for (const QString& topic : page.topics()) {
    page.open(topic);
    EXPECT_GT(text->toPlainText().size(), 200) << qPrintable(topic);
    for (const char* language : {"en", "de"}) {
      QFile file(QStringLiteral(":/guide/%1/%2.md").arg(QLatin1String(language), topic));
      // It is the guide of the commands as it lies among the documents, in one language.
      if (topic == QLatin1String("commands")) continue;
      ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(file.fileName());
      const QString words = QString::fromUtf8(file.readAll());
      auto links = QRegularExpression(QStringLiteral("\\]\\((\\w+)\\.md\\)")).globalMatch(words);
      while (links.hasNext()) {
        const QString to = links.next().captured(1);
        EXPECT_TRUE(page.topics().contains(to))
            << qPrintable(file.fileName()) << " leads to " << qPrintable(to);
      }
    }
  }
  page.open(QStringLiteral("start"));
  emit text->anchorClicked(QUrl(QStringLiteral("podcast.md")));
  EXPECT_EQ(page.findChild<QListWidget*>()->currentRow(), page.topics().indexOf(QStringLiteral("podcast")));
}

}  // namespace
}  // namespace sonmere
