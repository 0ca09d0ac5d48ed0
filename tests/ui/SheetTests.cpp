#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include "ui/sheets/Greeting.h"
#include "ui/sheets/NameSheet.h"

namespace sonmere {
namespace {

struct SheetTest : testing::Test {
  SheetTest() {
    behind = new QLineEdit(&window);
    window.resize(640, 480);
    window.show();
    window.activateWindow();
    (void)QTest::qWaitForWindowActive(&window);
    behind->setFocus();
  }
  QWidget window;
  QLineEdit* behind;
};

TEST_F(SheetTest, TheKeyboardStaysInItAndGoesBackToWhereItWas) {
  QPointer<NameSheet> sheet = new NameSheet("Name", "Text", "Old", &window);
  QSignalSpy chosen(sheet, &NameSheet::chosen);
  sheet->open();
  ASSERT_TRUE(qobject_cast<QLineEdit*>(QApplication::focusWidget()));
  EXPECT_NE(QApplication::focusWidget(), behind);
  for (int i = 0; i < 7; ++i) {
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    EXPECT_TRUE(sheet->isAncestorOf(QApplication::focusWidget())) << i;
    EXPECT_NE(QApplication::focusWidget(), behind);
  }
  auto* field = sheet->findChild<QLineEdit*>();
  field->setFocus();
  field->setText("New");
  QTest::keyClick(field, Qt::Key_Return);
  ASSERT_EQ(chosen.count(), 1);
  EXPECT_EQ(chosen.first().first().toString(), QStringLiteral("New"));
  ASSERT_TRUE(sheet) << "it waits for what becomes of the wish";
  sheet->refuse("Taken.");
  EXPECT_TRUE(sheet->isVisible());
  window.resize(900, 700);
  EXPECT_EQ(sheet->size(), window.size());
  QTest::keyClick(field, Qt::Key_Escape);
  EXPECT_EQ(QApplication::focusWidget(), behind);
  QTest::qWait(0);
  EXPECT_FALSE(sheet);
}

TEST_F(SheetTest, GreetsWithWordsOfItsOwnAndNotAtAllWithAnUnknownName) {
  QStringList titles;
  for (const char* name : {"welcome", "routingNote", "whatIsNew"}) {
    Sheet* sheet = greetingSheet(QLatin1String(name), &window);
    ASSERT_TRUE(sheet) << name;
    sheet->open();
    EXPECT_GE(sheet->findChildren<QLabel*>().size(), 3) << name;
    EXPECT_FALSE(titles.contains(sheet->title()));
    titles << sheet->title();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    EXPECT_FALSE(sheet->isVisible()) << "Return goes on";
  }
  EXPECT_FALSE(greetingSheet(QString(), &window));
  EXPECT_FALSE(greetingSheet(QStringLiteral("of a later version"), &window));
}

}  // namespace
}  // namespace sonmere
