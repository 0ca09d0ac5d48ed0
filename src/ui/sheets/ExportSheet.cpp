#include "ui/sheets/ExportSheet.h"

#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QToolButton>

#include "ui/editor/EditedProject.h"
#include "ui/theme/Theme.h"

namespace sonmere {
namespace {

QString formatText(const ExportFormat& format) {
  if (format.kind != ExportFormat::Kind::mp3) return QString::fromStdString(name(format)).toUpper();
  const QString word = QString::fromStdString(name(format));
  return ExportSheet::tr("MP3, %1 kb/s").arg(word.mid(word.indexOf(QLatin1Char('-')) + 1));
}

}  // namespace

ExportSheet::ExportSheet(EditedProject& project, SettingsStore& settings, QWidget* parent)
    : Sheet(tr("Export"), parent),
      project_(project),
      settings_(settings),
      what_(new QComboBox),
      format_(new QComboBox),
      path_(new QLineEdit),
      progress_(new QProgressBar),
      note_(new QLabel) {
  what_->addItems({tr("Render the whole session as a single mixed-down file"),
                   tr("Render each track to its own file (with edits applied)")});
  for (const ExportFormat& each : allExportFormats()) format_->addItem(formatText(each));
  const auto& all = allExportFormats();
  const auto chosen = std::ranges::find(all, exportFormat(settings));
  format_->setCurrentIndex(chosen == all.end() ? 0 : static_cast<int>(chosen - all.begin()));
  auto* form = new QFormLayout;
  if (project_.isSession()) form->addRow(tr("What"), what_);
  form->addRow(tr("Format"), format_);
  auto* place = new QHBoxLayout;
  auto* browse = new QToolButton;
  browse->setText(tr("Choose…"));
  place->addWidget(path_, 1);
  place->addWidget(browse);
  form->addRow(tr("To"), place);
  path_->setAccessibleName(tr("File or folder of the export"));
  what_->setAccessibleName(tr("What to export"));
  format_->setAccessibleName(tr("Format"));
  progress_->setAccessibleName(tr("Progress of the export"));
  progress_->setRange(0, 1000);
  progress_->hide();
  note_->setWordWrap(true);
  note_->hide();
  addLayout(form);
  addWidget(progress_);
  addWidget(note_);
  cancel_ = addButton(tr("Cancel"), false, true);
  start_ = addButton(tr("Export"), true, true);
  connect(browse, &QToolButton::clicked, this, &ExportSheet::chooseFile);
  connect(format_, &QComboBox::currentIndexChanged, this, &ExportSheet::formatChanged);
  connect(what_, &QComboBox::currentIndexChanged, this, &ExportSheet::formatChanged);
  connect(start_, &QPushButton::clicked, this, &ExportSheet::begin);
  connect(cancel_, &QPushButton::clicked, this,
          [this] { isUnderWay_ ? project_.cancelExport() : dismiss(); });
  connect(&project_, &EditedProject::savingChanged, this, &ExportSheet::refresh);
  connect(&project_, &EditedProject::saveFailed, this, [this](const QString& text) {
    hasFailed_ = true;
    say(text);
  });
  // Escape, too: nothing goes on unseen.
  connect(this, &Sheet::dismissed, this, [this] {
    if (isUnderWay_) project_.cancelExport();
  });
  formatChanged();
}

bool ExportSheet::isStems() const { return project_.isSession() && what_->currentIndex() == 1; }

ExportFormat ExportSheet::format() const {
  return allExportFormats().at(static_cast<std::size_t>(std::max(0, format_->currentIndex())));
}

// A name that the user chose keeps its name and takes the new extension.
void ExportSheet::formatChanged() {
  const QString suggested = project_.suggestedPath(format());
  const QFileInfo now(path_->text());
  if (isStems()) return path_->setText(QFileInfo(suggested).path());
  if (path_->text().isEmpty() || now.isDir()) return path_->setText(suggested);
  path_->setText(now.path() + QLatin1Char('/') + now.completeBaseName() + QLatin1Char('.') +
                 QLatin1String(format().fileExtension()));
}

void ExportSheet::chooseFile() {
  const QString chosen =
      isStems() ? QFileDialog::getExistingDirectory(this, tr("Folder of the files"), path_->text())
                : QFileDialog::getSaveFileName(this, tr("Export as"), path_->text());
  if (!chosen.isEmpty()) path_->setText(chosen);
}

void ExportSheet::begin() {
  if (isUnderWay_) return;
  if (path_->text().isEmpty()) return say(tr("Say where the export is to go."));
  setExportFormat(settings_, format());
  hasFailed_ = false;
  say({});
  isStems() ? project_.exportStems(path_->text(), format()) : project_.exportTo(path_->text(), format());
  // Only now: its progress is told before it runs, and would be taken for its end.
  isUnderWay_ = true;
  refresh();
}

void ExportSheet::refresh() {
  if (!isUnderWay_) return;
  const bool runs = project_.isSaving();
  for (QWidget* each : {static_cast<QWidget*>(what_), static_cast<QWidget*>(format_),
                        static_cast<QWidget*>(path_), static_cast<QWidget*>(start_)}) {
    each->setEnabled(!runs);
  }
  progress_->setVisible(runs);
  progress_->setValue(static_cast<int>(project_.saveProgress() * 1000));
  refit();
  if (runs) return;
  isUnderWay_ = false;
  if (hasFailed_) return;
  // A failure is told right after the end; a file that is there was not cancelled.
  QMetaObject::invokeMethod(
      this,
      [this] {
        if (hasFailed_ || isUnderWay_) return;
        if (!QFileInfo::exists(path_->text()))
          return say(tr("The export was cancelled; nothing was written."));
        emit exported(path_->text());
        dismiss();
      },
      Qt::QueuedConnection);
}

void ExportSheet::say(const QString& text) {
  note_->setText(text);
  note_->setVisible(!text.isEmpty());
  refit();
}

}  // namespace sonmere
