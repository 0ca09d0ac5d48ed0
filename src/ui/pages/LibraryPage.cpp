#include "ui/pages/LibraryPage.h"

#include <QDesktopServices>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QShortcut>
#include <QToolButton>
#include <QTreeView>
#include <QUrl>
#include <QVBoxLayout>

#include "ui/model/LibraryModel.h"
#include "ui/model/LibraryTree.h"
#include "ui/theme/Icons.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/JobStrip.h"
#include "ui/widgets/NoteLabel.h"
#include "ui/widgets/PlayerBar.h"
#include "ui/widgets/WaveformDelegate.h"
#include "ui/work/Player.h"
#include "ui/work/Thumbnails.h"

namespace sonmere {
namespace {

// A folder full of files is asked about by hand.
constexpr int kMostDropped = 500;

QStringList localFiles(const QMimeData& data) {
  QStringList files;
  for (const QUrl& url : data.urls()) {
    if (url.isLocalFile() && QFileInfo(url.toLocalFile()).isFile()) files << url.toLocalFile();
  }
  return files.mid(0, kMostDropped);
}

}  // namespace

LibraryPage::LibraryPage(LibraryModel& model, Workbench& workbench, QWidget* parent)
    : QWidget(parent),
      model_(model),
      thumbnails_(new Thumbnails(workbench)),
      player_(new Player(workbench)),
      tree_(new LibraryTree(this)),
      view_(new QTreeView),
      search_(new QLineEdit),
      note_(new NoteLabel(ColourRole::text)),
      empty_(new QLabel),
      jobs_(new JobStrip),
      bar_(new PlayerBar(*player_)) {
  thumbnails_->setParent(this);
  player_->setParent(this);
  setAcceptDrops(true);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2 * kGrid, 2 * kGrid, 2 * kGrid, kGrid);
  layout->setSpacing(kGrid);
  buildTop();
  buildList();
  layout->addWidget(jobs_);
  buildActions();
  layout->addWidget(bar_);
  connect(&model_, &LibraryModel::changed, this, &LibraryPage::refresh);
  connect(&model_, &LibraryModel::jobsChanged, this, [this] { jobs_->show(model_.jobs()); });
  connect(jobs_, &JobStrip::cancelled, this, [this](JobID job) { model_.cancel(job); });
  connect(&model_, &LibraryModel::answered, this, &LibraryPage::say);
  connect(&model_, &LibraryModel::trashedChanged, this, &LibraryPage::refreshActions);
  connect(&model_, &LibraryModel::renamed, this, [this](const QString& from, const QString&) {
    if (player_->path() == from) player_->stop();
  });
  connect(player_, &Player::failed, this, [this](const QString& text) { say(text, true); });
  connect(thumbnails_, &Thumbnails::ready, tree_, &LibraryTree::pictureChanged);
  connect(tree_, &LibraryTree::renameWanted, &model_, &LibraryModel::rename);
  refresh();
}

void LibraryPage::buildTop() {
  auto* top = new QHBoxLayout;
  auto* title = new QLabel(tr("Library"));
  QFont large = title->font();
  large.setPointSizeF(large.pointSizeF() * 1.5);
  title->setFont(large);
  top->addWidget(title);
  top->addStretch(1);
  search_->setPlaceholderText(tr("Search recordings"));
  search_->setAccessibleName(tr("Search recordings"));
  search_->setClearButtonEnabled(true);
  search_->setMaximumWidth(240);
  top->addWidget(search_);
  QToolButton* import = addAction(top, QStringLiteral("import"), tr("Import"));
  QToolButton* folder = addAction(top, QStringLiteral("folder"), tr("Show recordings folder"));
  folder->setToolButtonStyle(Qt::ToolButtonIconOnly);
  static_cast<QVBoxLayout*>(layout())->addLayout(top);
  connect(search_, &QLineEdit::textChanged, this, &LibraryPage::refresh);
  connect(import, &QToolButton::clicked, this, &LibraryPage::chooseFiles);
  connect(folder, &QToolButton::clicked, this,
          [this] { QDesktopServices::openUrl(QUrl::fromLocalFile(model_.folder())); });
  auto* find = new QShortcut(QKeySequence::Find, this);
  connect(find, &QShortcut::activated, search_, qOverload<>(&QWidget::setFocus));
}

void LibraryPage::buildList() {
  view_->setModel(tree_);
  view_->setItemDelegateForColumn(LibraryTree::picture, new WaveformDelegate(*thumbnails_, view_));
  view_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  view_->setEditTriggers(QAbstractItemView::EditKeyPressed | QAbstractItemView::SelectedClicked);
  view_->setDragEnabled(true);
  view_->setDragDropMode(QAbstractItemView::DragOnly);
  view_->setFrameShape(QFrame::NoFrame);
  view_->setUniformRowHeights(true);
  view_->setAccessibleName(tr("Recordings"));
  view_->setAllColumnsShowFocus(true);
  view_->installEventFilter(this);
  view_->header()->setStretchLastSection(false);
  view_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
  view_->header()->setSectionResizeMode(LibraryTree::name, QHeaderView::Stretch);
  view_->header()->setSectionResizeMode(LibraryTree::picture, QHeaderView::Fixed);
  view_->header()->resizeSection(LibraryTree::picture, Thumbnails::kColumns + kGrid);
  empty_->setWordWrap(true);
  empty_->setAlignment(Qt::AlignCenter);
  auto* column = static_cast<QVBoxLayout*>(layout());
  column->addWidget(note_);
  column->addWidget(view_, 1);
  column->addWidget(empty_, 1);
  connect(view_, &QTreeView::doubleClicked, this, [this](const QModelIndex& at) {
    if (!at.data(LibraryTree::pathRole).toString().isEmpty()) edit();
  });
}

QToolButton* LibraryPage::addAction(QHBoxLayout* row, const QString& icon, const QString& text) {
  auto* button = new QToolButton;
  button->setIcon(themedIcon(icon));
  button->setText(text);
  button->setToolTip(text);
  button->setAccessibleName(text);
  button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  row->addWidget(button);
  return button;
}

void LibraryPage::buildActions() {
  auto* row = new QHBoxLayout;
  edit_ = addAction(row, QStringLiteral("edit"), tr("Edit"));
  rename_ = addAction(row, QStringLiteral("rename"), tr("Rename"));
  trash_ = addAction(row, QStringLiteral("trash"), tr("Move to trash"));
  undo_ = addAction(row, QStringLiteral("undo"), tr("Undo"));
  row->addStretch(1);
  static_cast<QVBoxLayout*>(layout())->addLayout(row);
  connect(edit_, &QToolButton::clicked, this, &LibraryPage::edit);
  connect(rename_, &QToolButton::clicked, this,
          [this] { view_->edit(view_->currentIndex().siblingAtColumn(0)); });
  connect(trash_, &QToolButton::clicked, this, [this] { model_.moveToTrash(chosen()); });
  connect(undo_, &QToolButton::clicked, &model_, &LibraryModel::restore);
  connect(view_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
          &LibraryPage::refreshActions);
}

QStringList LibraryPage::chosen() const {
  QStringList paths;
  for (const QModelIndex& row : view_->selectionModel()->selectedRows()) {
    for (const QString& path : tree_->pathsOf(row)) {
      if (!paths.contains(path)) paths << path;
    }
  }
  return paths;
}

void LibraryPage::refreshActions() {
  const QStringList paths = chosen();
  edit_->setEnabled(!paths.isEmpty());
  rename_->setEnabled(paths.size() == 1);
  trash_->setEnabled(!paths.isEmpty());
  undo_->setVisible(model_.canRestore());
  bar_->setChosen(paths.size() == 1 ? paths.first() : QString());
}

// Rows that are there before and after stay chosen.
void LibraryPage::refresh() {
  const QStringList before = chosen();
  const QString current = view_->currentIndex().data(LibraryTree::pathRole).toString();
  tree_->show(model_.sessions(), search_->text().trimmed());
  view_->expandAll();
  for (int day = 0; day < tree_->rowCount(); ++day) view_->setFirstColumnSpanned(day, {}, true);
  for (const QString& path : before) {
    view_->selectionModel()->select(tree_->find(path),
                                    QItemSelectionModel::Select | QItemSelectionModel::Rows);
  }
  if (const QModelIndex at = tree_->find(current); at.isValid()) {
    view_->selectionModel()->setCurrentIndex(at, QItemSelectionModel::NoUpdate);
  }
  const bool isEmpty = tree_->rowCount() == 0;
  view_->setVisible(!isEmpty);
  empty_->setVisible(isEmpty);
  empty_->setText(model_.sessions().empty()
                      ? tr("No recordings yet. What you record lands here; drop audio files to import them.")
                      : tr("No recording fits the search."));
  if (const QString folder = model_.folderNote(); !folder.isEmpty()) say(folder, false);
  refreshActions();
}

QStringList LibraryPage::unfinishedWork() const {
  QStringList all;
  for (const JobState& job : model_.jobs()) {
    if (!job.hasEnded()) all << tr("%1 is under way.").arg(QString::fromStdString(job.title));
  }
  return all;
}

void LibraryPage::choose(const QString& path) {
  const QModelIndex at = tree_->find(path);
  if (at.isValid()) view_->setCurrentIndex(at);
}

// One file by itself; several of one session side by side, with its edits.
void LibraryPage::edit() {
  const QStringList paths = chosen();
  if (paths.isEmpty()) return;
  player_->stop();
  const QString stamp = view_->currentIndex().data(LibraryTree::stampRole).toString();
  emit editWanted(paths, paths.size() > 1 ? stamp : QString());
}

bool LibraryPage::eventFilter(QObject* watched, QEvent* event) {
  if (watched != view_ || event->type() != QEvent::KeyPress) return QWidget::eventFilter(watched, event);
  switch (static_cast<QKeyEvent*>(event)->key()) {
    case Qt::Key_Space:
      bar_->toggle();
      return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
      edit();
      return true;
    case Qt::Key_Delete:
      model_.moveToTrash(chosen());
      return true;
    default:
      if (!static_cast<QKeyEvent*>(event)->matches(QKeySequence::Undo)) return false;
      model_.restore();
      return true;
  }
}

void LibraryPage::dragEnterEvent(QDragEnterEvent* event) {
  if (event->source() != view_ && !localFiles(*event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void LibraryPage::dropEvent(QDropEvent* event) {
  model_.importFiles(localFiles(*event->mimeData()));
  event->acceptProposedAction();
}

void LibraryPage::chooseFiles() {
  model_.importFiles(
      QFileDialog::getOpenFileNames(this, tr("Import audio files"), {},
                                    tr("Audio (*.wav *.wave *.aif *.aiff *.aifc *.caf *.m4a *.mp3 *.mp4 "
                                       "*.aac *.flac *.ogg *.opus);;All files (*)")));
}

void LibraryPage::say(const QString& text, bool isRefusal) { note_->say(text, isRefusal); }

}  // namespace sonmere
