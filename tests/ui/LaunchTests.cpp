#include <gtest/gtest.h>
#include <signal.h>

#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTranslator>
#include <thread>

#include "FakeService.h"
#include "ui/QuitFlow.h"
#include "ui/UnfinishedWork.h"
#include "ui/launch/SingleWindow.h"
#include "ui/launch/Translations.h"
#include "ui/launch/WindowOptions.h"
#include "ui/model/RecordingModel.h"
#include "ui/widgets/Sheet.h"

namespace sonmere {
namespace {

constexpr int kPatience = 10000;  // ms

TEST(SingleWindow, ASecondOneHandsItsFilesOverAndOneAfterTheEndOfTheFirstIsTheOne) {
  QTemporaryDir folder;
  const QString place = folder.filePath(QStringLiteral("sonmere"));
  {
    SingleWindow first(place);
    ASSERT_TRUE(first.claim({}));
    QSignalSpy asked(&first, &SingleWindow::asked);
    bool isSecond = true;
    // It waits for the first, whose loop runs here.
    std::thread second([&] {
      isSecond = SingleWindow(place).claim({QStringLiteral("/a b.wav"), QStringLiteral("/ü.mp3")});
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return asked.count() == 1; }, kPatience));
    second.join();
    EXPECT_FALSE(isSecond);
    EXPECT_EQ(asked.first().first().toStringList(),
              (QStringList{QStringLiteral("/a b.wav"), QStringLiteral("/ü.mp3")}));
    QLocalSocket nonsense;
    nonsense.connectToServer(place + QStringLiteral("/window.sock"));
    ASSERT_TRUE(nonsense.waitForConnected());
    nonsense.write("{\"[1,]\n");
    EXPECT_TRUE(QTest::qWaitFor([&] { return asked.count() == 2; }, kPatience));
    EXPECT_TRUE(asked.last().first().toStringList().isEmpty());
  }
  SingleWindow next(place);
  EXPECT_TRUE(next.claim({}));
  EXPECT_EQ(QFile::permissions(place) & (QFile::ReadGroup | QFile::ReadOther), 0);
}

TEST(WindowOptions, FilesAreFullPathsAndAnUnknownOptionIsRefused) {
  const auto options = parseWindowArguments({"w", "--at-login", "a.wav", "/b.mp3"});
  ASSERT_TRUE(options);
  EXPECT_TRUE(options->atLogin);
  ASSERT_EQ(options->files.size(), 2);
  EXPECT_TRUE(options->files[0].startsWith('/') && options->files[0].endsWith("/a.wav"));
  EXPECT_EQ(options->files[1], QStringLiteral("/b.mp3"));
  EXPECT_FALSE(parseWindowArguments({"w", "--nothing"}));
}

std::vector<qint64> childrenOf(qint64 process) {
  QFile list(QStringLiteral("/proc/%1/task/%1/children").arg(process));
  std::vector<qint64> all;
  if (list.open(QIODevice::ReadOnly)) {
    for (const QByteArray& each : list.readAll().split(' ')) {
      if (each.toLongLong() > 0) all.push_back(each.toLongLong());
    }
  }
  return all;
}

TEST(Demo, ItsServiceEndsWithAWindowThatIsKilled) {
  QProcess window;
  window.start(QStringLiteral(SONMERE_WINDOW), {QStringLiteral("--demo")});
  ASSERT_TRUE(window.waitForStarted(kPatience));
  ASSERT_TRUE(QTest::qWaitFor([&] { return !childrenOf(window.processId()).empty(); }, kPatience));
  const qint64 service = childrenOf(window.processId()).front();
  window.kill();
  window.waitForFinished(kPatience);
  EXPECT_TRUE(QTest::qWaitFor([&] { return ::kill(static_cast<pid_t>(service), 0) != 0; }, kPatience));
}

TEST(Translations, ALanguageThatThereIsNotHasEnglishWithItsPlurals) {
  installTranslations(QStringLiteral("fr"));
  const auto apps = [](int count) {
    return QCoreApplication::translate("sonmere::ProfilesCard", "%n app(s)", nullptr, count);
  };
  EXPECT_EQ(apps(1), QStringLiteral("1 app"));
  EXPECT_EQ(apps(3), QStringLiteral("3 apps"));
  for (auto* translator : QCoreApplication::instance()->findChildren<QTranslator*>()) {
    QCoreApplication::removeTranslator(translator);
    delete translator;
  }
  installTranslations(QStringLiteral("en"));
}

struct QuitFlowTest : testing::Test {
  QTemporaryDir folder;
  FakeService service{folder.filePath(QStringLiteral("control.sock"))};
  ServiceLink link{folder.path().toStdString(), {Topic::recording}, 0};
  RecordingModel recording{link};
  QWidget content;
  QuitFlow flow{link, recording, content};

  void connectTo() {
    content.resize(640, 480);
    content.show();
    link.start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return link.state() == ServiceLink::State::connected; }, kPatience));
  }
  bool hasQuit() {
    return std::ranges::any_of(service.requests, [](const auto& each) { return each["method"] == "quit"; });
  }
  Sheet* sheet() { return content.findChild<Sheet*>(); }
};

TEST_F(QuitFlowTest, NothingIsAskedWhereNothingIsRecordedAndASheetForANameIsClosed) {
  connectTo();
  (new Sheet(QStringLiteral("Name"), &content))->open();
  QSignalSpy done(&flow, &QuitFlow::done);
  flow.begin();
  ASSERT_TRUE(QTest::qWaitFor([&] { return hasQuit(); }, kPatience));
  EXPECT_TRUE(!sheet() || !sheet()->isVisible());
  EXPECT_EQ(done.count(), 0) << "the service ends first";
  service.hangUp();
  EXPECT_TRUE(QTest::qWaitFor([&] { return done.count() == 1; }, kPatience));
}

struct Unfinished : QWidget, UnfinishedWork {
  using QWidget::QWidget;
  QStringList unfinishedWork() const override { return {QStringLiteral("An export is under way.")}; }
};

TEST_F(QuitFlowTest, WorkThatIsUnderWayIsLostOnlyWhenTheUserSaysSo) {
  connectTo();
  auto work = std::make_unique<Unfinished>(&content);
  struct Busy : Sheet {
    using Sheet::Sheet;
    bool isBusy() const override { return true; }
  };
  auto* busy = new Busy(QStringLiteral("Export"), &content);
  busy->open();
  const auto press = [&](const QString& part) {
    for (auto* button : content.findChildren<QPushButton*>()) {
      if (button->isVisible() && button->text().contains(part)) return button->click();
    }
    ADD_FAILURE() << qPrintable(part);
  };
  flow.begin();
  EXPECT_TRUE(busy->isVisible());
  press(QStringLiteral("Stay"));
  QSignalSpy windowOnly(&flow, &QuitFlow::windowOnly);
  EXPECT_FALSE(flow.mayClose(work->unfinishedWork()));
  QTest::qWait(10);
  EXPECT_FALSE(hasQuit());
  EXPECT_EQ(windowOnly.count(), 0);
  press(QStringLiteral("lose"));
  EXPECT_EQ(windowOnly.count(), 1);
  EXPECT_TRUE(flow.mayClose(work->unfinishedWork())) << "it has been said once";
  flow.begin();
  press(QStringLiteral("lose"));
  EXPECT_TRUE(QTest::qWaitFor([&] { return hasQuit(); }, kPatience));
}

TEST_F(QuitFlowTest, RunningRecordingsAreCompletedOnlyWhenTheUserSaysSo) {
  connectTo();
  service.tell("recording", {{"facts", {{"running", {{"2", {{"path", "/a.wav"}}}}}}}});
  ASSERT_TRUE(QTest::qWaitFor([&] { return !recording.running().empty(); }, kPatience));
  QSignalSpy windowOnly(&flow, &QuitFlow::windowOnly);
  flow.begin();
  ASSERT_TRUE(sheet());
  for (const int width : {640, 440, 360}) {
    content.resize(width, 480);
    QTest::qWait(10);
    for (const auto* button : sheet()->findChildren<QPushButton*>()) {
      EXPECT_GE(button->width(), button->sizeHint().width()) << qPrintable(button->text()) << ", " << width;
      EXPECT_TRUE(button->parentWidget()->rect().contains(button->geometry())) << width;
    }
  }
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
  QTest::qWait(10);
  EXPECT_FALSE(hasQuit());
  flow.begin();
  const auto press = [&](const QString& part) {
    for (auto* button : sheet()->findChildren<QPushButton*>()) {
      if (button->text().contains(part)) return button->click();
    }
    ADD_FAILURE() << qPrintable(part);
  };
  press(QStringLiteral("keep"));
  EXPECT_EQ(windowOnly.count(), 1);
  QTest::qWait(10);
  EXPECT_FALSE(hasQuit());
  flow.begin();
  press(QStringLiteral("Stop"));
  EXPECT_TRUE(QTest::qWaitFor([&] { return hasQuit(); }, kPatience));
}

}  // namespace
}  // namespace sonmere
