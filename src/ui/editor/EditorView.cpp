#include "ui/editor/EditorView.h"

#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcut>
#include <QSignalBlocker>
#include <QToolButton>
#include <QUrl>
#include <cmath>

#include "editor/export/ParallelLoudness.h"
#include "ui/editor/EditedProject.h"
#include "ui/editor/RangeFields.h"
#include "ui/editor/Timeline.h"
#include "ui/editor/TrackHeader.h"
#include "ui/sheets/ExportSheet.h"
#include "ui/theme/Icons.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/NoteLabel.h"
#include "ui/widgets/Sheet.h"
#include "ui/work/Workbench.h"

namespace sonmere {
namespace {

constexpr int kHeaderWidth = 176;
constexpr int kScrollSteps = 10000;

}  // namespace

QString shortcutText(const QKeyEvent& event) {
  static const std::map<int, QString> names = {
      {Qt::Key_Space, QStringLiteral("space")},   {Qt::Key_Left, QStringLiteral("left")},
      {Qt::Key_Right, QStringLiteral("right")},   {Qt::Key_Up, QStringLiteral("up")},
      {Qt::Key_Down, QStringLiteral("down")},     {Qt::Key_Home, QStringLiteral("home")},
      {Qt::Key_End, QStringLiteral("end")},       {Qt::Key_Plus, QStringLiteral("+")},
      {Qt::Key_Minus, QStringLiteral("-")},       {Qt::Key_Equal, QStringLiteral("=")},
      {Qt::Key_Return, QStringLiteral("return")}, {Qt::Key_Escape, QStringLiteral("escape")}};
  const auto found = names.find(event.key());
  QString key = found != names.end() ? found->second : QString();
  if (key.isEmpty() && event.key() >= Qt::Key_0 && event.key() <= Qt::Key_Z)
    key = QChar(event.key()).toLower();
  if (key.isEmpty()) return key;
  QString text;
  if (event.modifiers() & Qt::ControlModifier) text += QStringLiteral("control+");
  if (event.modifiers() & Qt::AltModifier) text += QStringLiteral("alt+");
  // Where shift makes another sign it has done its part.
  if (event.modifiers() & Qt::ShiftModifier && event.key() != Qt::Key_Plus) text += QStringLiteral("shift+");
  return text + key;
}

EditorView::EditorView(std::unique_ptr<EditedProject> project, Workbench& workbench, QWidget* parent)
    : QWidget(parent),
      project_(std::move(project)),
      workbench_(workbench),
      shortcuts_(workbench.settings(), workbench.log()),
      timeline_(new Timeline(*project_, workbench)),
      fields_(new RangeFields(*project_)),
      scroll_(new QScrollBar(Qt::Horizontal)),
      headers_(new QVBoxLayout),
      loudness_(new QLabel),
      note_(new NoteLabel(ColourRole::text)) {
  setAcceptDrops(project_->isSession());
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2 * kGrid, kGrid, 2 * kGrid, kGrid);
  layout->setSpacing(kGrid);
  buildTools();
  layout->addWidget(note_);
  buildTracks();
  buildBottom();
  connect(project_.get(), &EditedProject::edited, this, &EditorView::refresh);
  connect(project_.get(), &EditedProject::playingChanged, this, &EditorView::refresh);
  connect(project_.get(), &EditedProject::viewMoved, this, &EditorView::refreshView);
  connect(project_.get(), &EditedProject::tracksChanged, this, &EditorView::fillHeaders);
  connect(project_.get(), &EditedProject::refused, this, [this](const QString& text) { say(text, true); });
  connect(project_.get(), &EditedProject::saveFailed, this, [this](const QString& text) { say(text, true); });
  connect(timeline_, &Timeline::trackChosen, this, &EditorView::choose);
  fillHeaders();
  refreshView();
  setFocusProxy(timeline_);
}

EditorView::~EditorView() {
  if (measuring_) measuring_->cancel();
  // What shows the project goes first.
  for (QObject* child : {static_cast<QObject*>(timeline_), static_cast<QObject*>(fields_)}) delete child;
  for (TrackHeader* track : tracks_) delete track;
}

QToolButton* EditorView::addTool(QHBoxLayout* row, const QString& icon, const QString& text) {
  auto* button = new QToolButton;
  button->setIcon(themedIcon(icon));
  button->setIconSize({18, 18});
  button->setToolTip(text);
  button->setText(text);
  button->setAccessibleName(text);
  row->addWidget(button);
  return button;
}

void EditorView::buildTools() {
  auto* row = new QHBoxLayout;
  row->setSpacing(kGrid / 2);
  connect(addTool(row, QStringLiteral("back"), tr("Back to the library")), &QToolButton::clicked, this,
          &EditorView::leave);
  auto* title = new QLabel(project_->title());
  title->setTextFormat(Qt::PlainText);
  QFont strong = title->font();
  strong.setBold(true);
  title->setFont(strong);
  row->addWidget(title);
  row->addStretch(1);
  play_ = addTool(row, QStringLiteral("play"), tr("Play"));
  loop_ = addTool(row, QStringLiteral("loop"), tr("Loop"));
  loop_->setCheckable(true);
  undo_ = addTool(row, QStringLiteral("undo"), tr("Undo (Ctrl+Z)"));
  redo_ = addTool(row, QStringLiteral("redo"), tr("Redo (Ctrl+Shift+Z)"));
  auto* out = addTool(row, QStringLiteral("zoomout"), tr("Zoom out"));
  auto* in = addTool(row, QStringLiteral("zoomin"), tr("Zoom in"));
  auto* fit = addTool(row, QStringLiteral("fit"), tr("Show all of it"));
  auto* level = addTool(row, QStringLiteral("level"), tr("Auto-set gain so peak hits -0.5 dBFS"));
  auto* save = addTool(row, QStringLiteral("export"), tr("Export"));
  save->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  static_cast<QVBoxLayout*>(layout())->addLayout(row);
  const auto act = [this](EditorShortcutAction action) {
    return [this, action] { project_->perform(action, timeline_->chosenTrack()); };
  };
  connect(play_, &QToolButton::clicked, this, act(EditorShortcutAction::togglePlayback));
  connect(out, &QToolButton::clicked, this, act(EditorShortcutAction::zoomOut));
  connect(in, &QToolButton::clicked, this, act(EditorShortcutAction::zoomIn));
  connect(fit, &QToolButton::clicked, this, act(EditorShortcutAction::zoomToFit));
  connect(loop_, &QToolButton::clicked, this, [this](bool on) { project_->setLoop(on); });
  connect(undo_, &QToolButton::clicked, this, [this] { project_->undo(); });
  connect(redo_, &QToolButton::clicked, this, [this] { project_->redo(); });
  connect(level, &QToolButton::clicked, this, &EditorView::normalise);
  connect(save, &QToolButton::clicked, this, &EditorView::openExport);
  const auto shortcut = [this](const QKeySequence& keys, auto slot) {
    auto* made = new QShortcut(keys, this);
    made->setContext(Qt::WidgetWithChildrenShortcut);
    connect(made, &QShortcut::activated, this, slot);
  };
  shortcut(QKeySequence::Undo, [this] { project_->undo(); });
  // As the button says, whatever the desktop's own keys are.
  shortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z), [this] { project_->redo(); });
  shortcut(QKeySequence(Qt::CTRL | Qt::Key_E), &EditorView::openExport);
}

void EditorView::buildTracks() {
  auto* both = new QWidget;
  auto* row = new QHBoxLayout(both);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(0);
  auto* column = new QWidget;
  column->setFixedWidth(kHeaderWidth);
  headers_->setContentsMargins(0, Timeline::kRuler, 0, 0);
  headers_->setSpacing(0);
  column->setLayout(headers_);
  row->addWidget(column);
  row->addWidget(timeline_, 1);
  connect(timeline_, &Timeline::keyPressed, this, &EditorView::keyPressEvent);
  auto* area = new QScrollArea;
  area->setFocusPolicy(Qt::NoFocus);
  area->setWidgetResizable(true);
  area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  area->setFrameShape(QFrame::NoFrame);
  area->setFocusPolicy(Qt::NoFocus);
  area->setWidget(both);
  auto* whole = static_cast<QVBoxLayout*>(layout());
  whole->addWidget(area, 1);
  scroll_->setAccessibleName(tr("Part of the timeline in view"));
  whole->addWidget(scroll_);
  connect(scroll_, &QScrollBar::valueChanged, this, [this](int step) {
    EditorViewport& view = project_->viewport();
    const double share = static_cast<double>(step) / kScrollSteps;
    const auto start = std::llround(share * static_cast<double>(view.totalFrames() - view.length()));
    view.show(start, start + view.length());
  });
}

void EditorView::buildBottom() {
  auto* row = new QHBoxLayout;
  row->addWidget(fields_, 1);
  auto* measure = new QToolButton;
  measure->setText(tr("Measure loudness"));
  measure->setToolTip(tr("Loudness and true peak of the chosen track as it is edited"));
  loudness_->setAccessibleName(tr("Loudness"));
  row->addWidget(loudness_);
  row->addWidget(measure);
  static_cast<QVBoxLayout*>(layout())->addLayout(row);
  connect(measure, &QToolButton::clicked, this, &EditorView::measure);
}

void EditorView::fillHeaders() {
  for (TrackHeader* track : tracks_) delete track;
  tracks_.clear();
  for (std::size_t i = 0; i < project_->tracks().size(); ++i) {
    auto* header = new TrackHeader(*project_, i);
    connect(header, &TrackHeader::chosen, timeline_, &Timeline::chooseTrack);
    headers_->addWidget(header, 1);
    tracks_.push_back(header);
  }
  timeline_->setMinimumHeight(timeline_->minimumSizeHint().height());
  refresh();
}

void EditorView::refresh() {
  play_->setIcon(themedIcon(project_->isPlaying() ? QStringLiteral("pause") : QStringLiteral("play")));
  play_->setAccessibleName(project_->isPlaying() ? tr("Pause") : tr("Play"));
  loop_->setChecked(project_->loops());
  undo_->setEnabled(project_->canUndo());
  redo_->setEnabled(project_->canRedo());
  for (std::size_t i = 0; i < tracks_.size(); ++i) tracks_[i]->refresh(i == timeline_->chosenTrack());
  timeline_->update();
}

void EditorView::refreshView() {
  const EditorViewport& view = project_->viewport();
  const QSignalBlocker quiet(scroll_);
  const double total = static_cast<double>(std::max<std::int64_t>(view.totalFrames(), 1));
  const double rest = total - static_cast<double>(view.length());
  scroll_->setEnabled(rest > 0);
  scroll_->setRange(0, rest > 0 ? kScrollSteps : 0);
  scroll_->setPageStep(rest > 0 ? static_cast<int>(kScrollSteps * static_cast<double>(view.length()) / rest)
                                : 1);
  scroll_->setValue(rest > 0 ? static_cast<int>(kScrollSteps * static_cast<double>(*view.viewStart) / rest)
                             : 0);
}

void EditorView::choose(std::size_t track) {
  fields_->showTrack(track);
  loudness_->clear();
  refresh();
}

void EditorView::normalise() {
  if (timeline_->chosenTrack() < project_->tracks().size()) {
    project_->tracks()[timeline_->chosenTrack()].engine->normalize();
  }
}

void EditorView::measure() {
  if (timeline_->chosenTrack() >= project_->tracks().size()) return;
  const auto input = project_->tracks()[timeline_->chosenTrack()].engine->track();
  if (!input) return;
  if (measuring_) measuring_->cancel();
  measuring_ = std::make_shared<ExportProgress>(workbench_.runtime());
  loudness_->setText(tr("Measuring…"));
  const auto work = [input = *input, progress = measuring_, &runtime = workbench_.runtime()] {
    return measureFileLoudness(runtime, input, *progress);
  };
  workbench_.run(this, work, [this, progress = measuring_](const Outcome<Loudness>& measured) {
    if (progress != measuring_) return;
    if (!measured) return loudness_->setText(QString::fromStdString(measured.error().description));
    const auto text = [](double value) {
      return std::isfinite(value) ? QLocale().toString(value, 'f', 1) : QStringLiteral("−∞");
    };
    loudness_->setText(
        tr("%1 LUFS, true peak %2 dBTP").arg(text(measured->integratedLUFS), text(measured->truePeakDb)));
  });
}

void EditorView::openExport() {
  auto* sheet = new ExportSheet(*project_, workbench_.settings(), this);
  connect(sheet, &ExportSheet::exported, this,
          [this](const QString& path) { say(tr("Exported to %1").arg(path), false); });
  sheet->open();
}

QStringList EditorView::unfinishedWork() const {
  if (project_->isSaving()) return {tr("The export of %1 is under way.").arg(project_->title())};
  if (project_->hasUnsavedEdits()) return {tr("The edits of %1 are in no file yet.").arg(project_->title())};
  return {};
}

void EditorView::leave() {
  const QStringList work = mayGo_ ? QStringList() : unfinishedWork();
  if (work.isEmpty()) return emit backWanted();
  if (question_) return;
  question_ = new Sheet(tr("Leave the editor?"), this);
  question_->addText(work.join(QLatin1Char('\n')));
  connect(question_->addButton(tr("Leave, and lose it"), false), &QPushButton::clicked, this, [this] {
    mayGo_ = true;
    leave();
  });
  question_->addButton(tr("Stay"), true);
  question_->open();
}

// As a window of its own.
void EditorView::closeEvent(QCloseEvent* event) {
  if (mayGo_ || unfinishedWork().isEmpty()) return QWidget::closeEvent(event);
  event->ignore();
  leave();
}

void EditorView::keyPressEvent(QKeyEvent* event) {
  const auto action = shortcuts_.action(shortcutText(*event).toStdString());
  if (!action || !project_->perform(*action, timeline_->chosenTrack())) QWidget::keyPressEvent(event);
}

void EditorView::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void EditorView::dropEvent(QDropEvent* event) {
  for (const QUrl& url : event->mimeData()->urls()) {
    if (url.isLocalFile()) project_->addTrack(url.toLocalFile());
  }
  event->acceptProposedAction();
}

void EditorView::say(const QString& text, bool isRefusal) { note_->say(text, isRefusal); }

}  // namespace sonmere
