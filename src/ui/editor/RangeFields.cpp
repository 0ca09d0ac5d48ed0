#include "ui/editor/RangeFields.h"

#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <cmath>

#include "ui/editor/EditedProject.h"
#include "ui/model/LibraryTree.h"
#include "ui/theme/Theme.h"

namespace sonmere {
namespace {

constexpr double kMostSeconds = 1e6;

}  // namespace

RangeFields::RangeFields(EditedProject& project, QWidget* parent)
    : QWidget(parent), project_(project), length_(new QLabel) {
  auto* layout = new QGridLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setHorizontalSpacing(kGrid);
  layout->setVerticalSpacing(2);
  addField(tr("Playhead"), &RangeFields::setPlayhead);
  addField(tr("From"), &RangeFields::setStart);
  addField(tr("To"), &RangeFields::setEnd);
  addField(tr("Fade in"), &RangeFields::setFadeIn);
  addField(tr("Fade out"), &RangeFields::setFadeOut);
  auto* name = new QLabel(tr("Length"));
  name->setForegroundRole(QPalette::PlaceholderText);
  layout->addWidget(name, 0, static_cast<int>(fields_.size()));
  layout->addWidget(length_, 1, static_cast<int>(fields_.size()));
  layout->setColumnStretch(static_cast<int>(fields_.size()) + 1, 1);
  connect(&project_, &EditedProject::edited, this, &RangeFields::refresh);
  connect(&project_, &EditedProject::playheadMoved, this, &RangeFields::refresh);
  connect(&project_, &EditedProject::tracksChanged, this, [this] { showTrack(0); });
  refresh();
}

void RangeFields::addField(const QString& name, void (RangeFields::*set)(double)) {
  auto* box = new QDoubleSpinBox;
  box->setRange(0, kMostSeconds);
  box->setDecimals(3);
  box->setSingleStep(0.1);
  box->setSuffix(tr(" s"));
  box->setKeyboardTracking(false);
  box->setAccessibleName(name);
  auto* label = new QLabel(name);
  label->setForegroundRole(QPalette::PlaceholderText);
  label->setBuddy(box);
  auto* grid = static_cast<QGridLayout*>(layout());
  grid->addWidget(label, 0, static_cast<int>(fields_.size()));
  grid->addWidget(box, 1, static_cast<int>(fields_.size()));
  fields_.push_back(box);
  connect(box, &QDoubleSpinBox::valueChanged, this, set);
}

void RangeFields::showTrack(std::size_t track) {
  track_ = track < project_.tracks().size() ? track : 0;
  refresh();
}

std::int64_t RangeFields::frames(double seconds) const {
  return std::llround(seconds * project_.tracks()[track_].engine->format().sampleRate);
}

void RangeFields::setStart(double seconds) {
  project_.tracks()[track_].engine->setTrimStart(frames(seconds));
}
void RangeFields::setEnd(double seconds) { project_.tracks()[track_].engine->setTrimEnd(frames(seconds)); }
void RangeFields::setFadeIn(double seconds) { project_.tracks()[track_].engine->setFadeIn(frames(seconds)); }
void RangeFields::setFadeOut(double seconds) {
  project_.tracks()[track_].engine->setFadeOut(frames(seconds));
}
void RangeFields::setPlayhead(double seconds) {
  project_.seek(std::llround(seconds * project_.sampleRate()));
}

void RangeFields::refresh() {
  const bool has = track_ < project_.tracks().size() && *project_.tracks()[track_].engine->trimRange;
  setEnabled(has);
  if (!has) return;
  const TrimRange& range = **project_.tracks()[track_].engine->trimRange;
  const auto seconds = [&](std::int64_t count) { return static_cast<double>(count) / range.sampleRate; };
  const double values[] = {project_.secondsOf(project_.playhead()), seconds(range.startFrame),
                           seconds(range.endFrame), seconds(range.fadeInFrames),
                           seconds(range.fadeOutFrames)};
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    const QSignalBlocker quiet(fields_[i]);
    // What is being typed stays.
    const bool isTyped = fields_[i]->hasFocus() && project_.isPlaying();
    if (!isTyped && std::abs(fields_[i]->value() - values[i]) > 0.0004) fields_[i]->setValue(values[i]);
  }
  length_->setText(clockText(seconds(range.length()), 2));
}

}  // namespace sonmere
