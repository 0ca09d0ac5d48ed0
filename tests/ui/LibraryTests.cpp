#include <gtest/gtest.h>

#include <QDir>
#include <QDropEvent>
#include <QMimeData>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QToolButton>
#include <QTreeView>
#include <QUrl>
#include <future>
#include <memory>

#include "FakeService.h"
#include "WavFile.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "ui/editor/EditedProject.h"
#include "ui/editor/EditorView.h"
#include "ui/model/LibraryModel.h"
#include "ui/model/LibraryTree.h"
#include "ui/pages/LibraryPage.h"
#include "ui/pages/LibraryStack.h"
#include "ui/sheets/NameSheet.h"
#include "ui/work/Player.h"
#include "ui/work/Thumbnails.h"
#include "ui/work/Workbench.h"

namespace sonmere {
namespace {

constexpr int kPatience = 15000;  // ms

TEST(ClockText, HoursOnlyWhereThereAreSome) {
  EXPECT_EQ(clockText(0), QStringLiteral("0:00"));
  EXPECT_EQ(clockText(59.999), QStringLiteral("0:59"));
  EXPECT_EQ(clockText(3600), QStringLiteral("1:00:00"));
  EXPECT_EQ(clockText(61.25, 2).section(QRegularExpression("[.,]"), 0, 0), QStringLiteral("1:01"));
  EXPECT_TRUE(clockText(61.25, 2).endsWith(QStringLiteral("25")));
  EXPECT_EQ(clockText(-1), QStringLiteral("0:00"));
}

struct LibraryTest : testing::Test {
  LibraryTest() {
    QDir(root.path()).mkpath(QStringLiteral("recordings"));
    writeTone(file("Voice — 2026-01-02 03-04-05.wav"), 2);
    writeTone(file("Sonmere Track 1 — 2026-01-02 03-04-05.wav"), 3);
    writeTone(file("Song — 2026-01-03 10-00-00.wav"), 1);
    writeTone(root.filePath(QStringLiteral("outside.wav")), 1);
  }
  QString file(const char* name) const {
    return root.filePath(QStringLiteral("recordings/") + QString::fromUtf8(name));
  }
  bool waits(const std::function<bool()>& condition) { return QTest::qWaitFor(condition, kPatience); }
  std::size_t files() {
    std::size_t count = 0;
    for (const RecordingSession& session : stack.model().sessions()) count += session.files.size();
    return count;
  }
  LibraryTree& tree() { return *stack.page().findChild<LibraryTree*>(); }
  QTreeView& view() { return *stack.page().findChild<QTreeView*>(); }
  void shows() {
    stack.resize(900, 600);
    QWidget& window = stack;
    window.show();
    ASSERT_TRUE(waits([this] { return files() == 3; }));
  }
  void choose(const QString& path) {
    view().selectionModel()->setCurrentIndex(tree().find(path),
                                             QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
  }

  QTemporaryDir root;
  ServiceLink link{root.path().toStdString(), {}, 0};
  Workbench bench{Workbench::demoPlace(root.path().toStdString())};
  LibraryStack stack{bench, link};
};

TEST_F(LibraryTest, SessionsStandByDayWithTheirFilesAndASearchLeavesWhatFits) {
  shows();
  ASSERT_EQ(tree().rowCount(), 2) << "two days";
  const QModelIndex older = tree().index(1, 0, {});
  ASSERT_EQ(tree().rowCount(older), 1);
  const QModelIndex session = tree().index(0, 0, older);
  EXPECT_EQ(tree().rowCount(session), 2);
  EXPECT_EQ(tree().pathsOf(session).size(), 2);
  EXPECT_EQ(tree().find(file("Sonmere Track 1 — 2026-01-02 03-04-05.wav")).data().toString(),
            QStringLiteral("Track 1"));
  const QModelIndex song = tree().find(file("Song — 2026-01-03 10-00-00.wav"));
  EXPECT_EQ(song.siblingAtColumn(LibraryTree::length).data().toString(), QStringLiteral("0:01"));
  const std::unique_ptr<QMimeData> dragged(tree().mimeData({session, song}));
  EXPECT_EQ(dragged->urls().size(), 3) << "files that other programs take";
  tree().show(stack.model().sessions(), QStringLiteral("voi"));
  EXPECT_EQ(tree().rowCount(), 1);
  EXPECT_FALSE(tree().find(file("Song — 2026-01-03 10-00-00.wav")).isValid());
}

TEST_F(LibraryTest, ARecordingIsRenamedInPlaceGoesToTheTrashAndComesBack) {
  shows();
  const QString song = file("Song — 2026-01-03 10-00-00.wav"), hymn = file("Hymn — 2026-01-03 10-00-00.wav");
  tree().setData(tree().find(song), QStringLiteral(" Hymn "), Qt::EditRole);
  ASSERT_TRUE(waits([&] { return tree().find(hymn).isValid(); }));
  QSignalSpy answered(&stack.model(), &LibraryModel::answered);
  tree().setData(tree().find(hymn), QStringLiteral("a/b"), Qt::EditRole);
  ASSERT_TRUE(waits([&] { return answered.count() == 1; }));
  EXPECT_TRUE(answered.first().at(1).toBool()) << "a name with a slash is refused, and said so";
  choose(hymn);
  QTest::keyClick(&view(), Qt::Key_Delete);
  ASSERT_TRUE(waits([&] { return !tree().find(hymn).isValid() && stack.model().canRestore(); }));
  EXPECT_FALSE(QFile::exists(hymn));
  QTest::keyClick(&view(), Qt::Key_Z, Qt::ControlModifier);
  EXPECT_TRUE(waits([&] { return QFile::exists(hymn) && tree().find(hymn).isValid(); }));
}

TEST_F(LibraryTest, FilesThatAreDroppedAreImportedAndWhatIsNoAudioIsTold) {
  shows();
  QFile text(root.filePath(QStringLiteral("no audio.txt")));
  ASSERT_TRUE(text.open(QIODevice::WriteOnly));
  text.write("words");
  text.close();
  QSignalSpy answered(&stack.model(), &LibraryModel::answered);
  QMimeData dropped;
  dropped.setUrls({QUrl::fromLocalFile(root.filePath(QStringLiteral("outside.wav"))),
                   QUrl::fromLocalFile(text.fileName()), QUrl::fromLocalFile(root.path()),
                   QUrl(QStringLiteral("https://example.org/x.wav"))});
  QDragEnterEvent enter(QPoint(100, 100), Qt::CopyAction, &dropped, Qt::LeftButton, {});
  QApplication::sendEvent(&stack.page(), &enter);
  QDropEvent drop(QPointF(100, 100), Qt::CopyAction, &dropped, Qt::LeftButton, {});
  QApplication::sendEvent(&stack.page(), &drop);
  ASSERT_TRUE(waits([&] { return files() == 4; }));
  ASSERT_TRUE(waits([&] {
    return std::ranges::any_of(answered, [](const auto& each) { return each.at(1).toBool(); });
  })) << "the text file is refused";
  EXPECT_TRUE(waits([&] { return stack.model().jobs().empty(); })) << "what has ended leaves the list";
}

TEST(Workbench, EndsWithWorkUnderWay) {
  QTemporaryDir root;
  auto bench = std::make_unique<Workbench>(Workbench::demoPlace(root.path().toStdString()));
  std::promise<void> began;
  bool isDone = false;
  bench->run(
      bench.get(),
      [&began] {
        began.set_value();
        QThread::msleep(50);  // until the end has begun
        return 1;
      },
      [&isDone](int) { isDone = true; });
  began.get_future().wait();
  bench.reset();
  EXPECT_FALSE(isDone);
}

TEST_F(LibraryTest, ARecordingPlaysWhereItLies) {
  shows();
  auto* player = stack.page().findChild<Player*>();
  QSignalSpy failed(player, &Player::failed);
  choose(file("Song — 2026-01-03 10-00-00.wav"));
  QTest::keyClick(&view(), Qt::Key_Space);
  ASSERT_TRUE(waits([&] { return player->isPlaying() && player->seconds() > 0.1; })) << failed.count();
  EXPECT_DOUBLE_EQ(player->length(), 1);
  QTest::keyClick(&view(), Qt::Key_Space);
  EXPECT_FALSE(player->isPlaying());
  const double stands = player->seconds();
  EXPECT_GT(stands, 0.1);
  player->seek(0.95);
  player->play(player->path());
  ASSERT_TRUE(waits([&] { return !player->isPlaying(); })) << "it ends by itself";
  EXPECT_DOUBLE_EQ(player->seconds(), 1);
  player->play(player->path());
  ASSERT_TRUE(waits([&] { return player->seconds() > 0.3; }));
  static_cast<SimulatedPlatform&>(bench.engines().platform)
      .host()
      .setDefault(DefaultDevice::output, SimulatedHost::kHeadsetUID);
  ASSERT_TRUE(waits([&] { return !player->isPlaying(); }));
  EXPECT_DOUBLE_EQ(player->seconds(), 1) << "it goes on where another output broke it off";
  EXPECT_EQ(failed.count(), 0);
  player->play(root.filePath(QStringLiteral("not there.wav")));
  EXPECT_EQ(failed.count(), 1);
}

TEST_F(LibraryTest, ThumbnailsAreReadOnceAndTellHowLoudItIs) {
  Thumbnails thumbnails(bench);
  QSignalSpy ready(&thumbnails, &Thumbnails::ready);
  const QString song = file("Song — 2026-01-03 10-00-00.wav");
  EXPECT_FALSE(thumbnails.of(song, 7));
  EXPECT_FALSE(thumbnails.of(song, 7)) << "asked for already";
  EXPECT_FALSE(thumbnails.of(QStringLiteral("/not there"), 1));
  ASSERT_TRUE(waits([&] { return ready.count() == 2; }));
  const auto* columns = thumbnails.of(song, 7);
  ASSERT_TRUE(columns);
  EXPECT_LT(columns->front(), 0.05f);
  EXPECT_NEAR(columns->back(), 0.5f, 0.02f);
  EXPECT_FALSE(thumbnails.of(song, 8)) << "a file that has grown is read anew";
}

TEST_F(LibraryTest, AFileOpensInTheEditorASessionSideBySideAndNoAudioIsTold) {
  shows();
  QSignalSpy wanted(&stack, &LibraryStack::wanted);
  QSignalSpy answered(&stack.model(), &LibraryModel::answered);
  stack.openFiles({root.filePath(QStringLiteral("outside.wav"))});
  ASSERT_TRUE(stack.editor());
  EXPECT_FALSE(stack.editor()->project().isSession());
  EXPECT_EQ(wanted.count(), 1);
  emit stack.editor()->backWanted();
  EXPECT_FALSE(stack.editor());
  EXPECT_EQ(stack.currentWidget(), &stack.page());
  view().selectionModel()->setCurrentIndex(tree().index(0, 0, tree().index(1, 0, {})),
                                           QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
  QTest::keyClick(&view(), Qt::Key_Return);
  ASSERT_TRUE(stack.editor());
  EXPECT_EQ(stack.editor()->project().tracks().size(), 2u);
  stack.openFiles({root.path(), QStringLiteral("/etc/passwd")});
  EXPECT_EQ(answered.count(), 1);
}

TEST_F(LibraryTest, AnEditorWithWorkInItKeepsItsPlaceAndJobsTheirFolder) {
  shows();
  stack.openFiles({root.filePath(QStringLiteral("outside.wav"))});
  EditorView* const first = stack.editor();
  ASSERT_TRUE(first);
  EditorEngine& engine = *first->project().tracks()[0].engine;
  ASSERT_TRUE(waits([&] { return engine.trimRange->has_value(); }));
  engine.setGainLinear(0.5f);
  stack.openFiles({file("Song — 2026-01-03 10-00-00.wav")});
  EXPECT_EQ(stack.editor(), first);
  const auto windows = QApplication::topLevelWidgets();
  EXPECT_TRUE(std::ranges::any_of(windows, [](QWidget* each) { return qobject_cast<EditorView*>(each); }));

  const QString other = root.filePath(QStringLiteral("other"));
  QDir().mkpath(other);
  stack.model().importFiles({root.filePath(QStringLiteral("outside.wav"))});
  emit link.told(Topic::library, {{"facts", {{"folder", other.toStdString()}}}});
  EXPECT_EQ(stack.model().folder(), root.filePath(QStringLiteral("recordings")));
  EXPECT_FALSE(stack.page().unfinishedWork().isEmpty());
  EXPECT_TRUE(waits([&] { return stack.model().folder() == other; }));
  EXPECT_EQ(QDir(root.filePath(QStringLiteral("recordings"))).entryList(QDir::Files).size(), 4);
}

TEST_F(LibraryTest, ATakeThatIsCompleteIsOfferedAName) {
  shows();
  QWidget over;
  over.resize(640, 480);
  over.show();
  const QString song = file("Song — 2026-01-03 10-00-00.wav");
  stack.offerName(song, &over);
  auto* sheet = over.findChild<NameSheet*>();
  ASSERT_TRUE(sheet);
  emit sheet->chosen(QStringLiteral("Evening"));
  EXPECT_TRUE(waits([&] { return QFile::exists(file("Evening — 2026-01-03 10-00-00.wav")); }));
  EXPECT_TRUE(waits([&] { return !over.findChild<NameSheet*>(); }));
}

}  // namespace
}  // namespace sonmere
