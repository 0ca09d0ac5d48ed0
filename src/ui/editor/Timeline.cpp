#include "ui/editor/Timeline.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QNativeGestureEvent>
#include <QPainter>
#include <QWheelEvent>
#include <cmath>

#include "base/PrintableText.h"
#include "ui/editor/EditedProject.h"
#include "ui/editor/LaneWave.h"
#include "ui/editor/WavePaint.h"
#include "ui/model/LibraryTree.h"
#include "ui/theme/Theme.h"

namespace sonmere {
namespace {

constexpr double kReach = 6;  // pixels around a grip
constexpr double kSnapPixels = 6;
constexpr double kCorner = 8;       // of a fade's handle
constexpr double kWheelStep = 120;  // eighths of a degree
constexpr double kWheelZoom = 1.25;
constexpr double kScrollShare = 0.1;  // of the view, for a step of the wheel

}  // namespace

Timeline::Timeline(EditedProject& project, Workbench& workbench, QWidget* parent)
    : QWidget(parent), project_(project), workbench_(workbench) {
  setFocusPolicy(Qt::StrongFocus);
  setMouseTracking(true);
  setAccessibleName(tr("Timeline"));
  const auto repaint = qOverload<>(&QWidget::update);
  connect(&project_, &EditedProject::edited, this, repaint);
  connect(&project_, &EditedProject::viewMoved, this, repaint);
  connect(&project_, &EditedProject::playheadMoved, this, &Timeline::describe);
  connect(&project_, &EditedProject::tracksChanged, this, &Timeline::takeTracks);
  connect(&project_, &EditedProject::waveformCame, this, [this](std::size_t track) {
    if (track < waves_.size()) waves_[track]->takeEnvelope();
  });
  takeTracks();
}

Timeline::~Timeline() = default;

void Timeline::takeTracks() {
  waves_.clear();
  for (const EditedProject::Track& track : project_.tracks()) {
    waves_.push_back(std::make_unique<LaneWave>(track.engine, workbench_));
    connect(waves_.back().get(), &LaneWave::changed, this, qOverload<>(&QWidget::update));
  }
  if (chosen_ >= waves_.size()) chosen_ = 0;
  updateGeometry();
  describe();
}

void Timeline::describe() {
  QString text = tr("Playhead at %1 of %2, %n track(s)", nullptr, static_cast<int>(waves_.size()))
                     .arg(clockText(project_.secondsOf(project_.playhead()), 1),
                          clockText(project_.secondsOf(project_.totalFrames()), 1));
  if (chosen_ < project_.tracks().size()) {
    const auto& track = project_.tracks()[chosen_];
    for (const AudioFileMark& mark : track.engine->marks())
      text += tr("; mark at %1 %2")
                  .arg(clockText(static_cast<double>(mark.frame) / track.engine->format().sampleRate, 1),
                       QString::fromStdString(printable(mark.text)));
  }
  setAccessibleDescription(text);
  update();
}

void Timeline::chooseTrack(std::size_t track) {
  if (track >= waves_.size() || track == chosen_) return;
  chosen_ = track;
  update();
  emit trackChosen(track);
}

QSize Timeline::minimumSizeHint() const {
  return {200, kRuler + kLeastLane * std::max(1, static_cast<int>(waves_.size()))};
}

int Timeline::laneHeight() const {
  return std::max(kLeastLane, (height() - kRuler) / std::max(1, static_cast<int>(waves_.size())));
}

TimelineScale Timeline::scale() const {
  const EditorViewport& view = project_.viewport();
  const std::int64_t end = std::max(*view.viewEnd, *view.viewStart + 1);
  return {*view.viewStart, end, static_cast<double>(std::max(1, width()))};
}

QRectF Timeline::laneRect(std::size_t track) const {
  return {0, kRuler + static_cast<double>(track) * laneHeight() + 2, static_cast<double>(width()),
          laneHeight() - 4.0};
}

std::optional<std::size_t> Timeline::trackAt(double y) const {
  if (y < kRuler) return std::nullopt;
  const auto track = static_cast<std::size_t>((y - kRuler) / laneHeight());
  return track < waves_.size() ? std::optional(track) : std::nullopt;
}

Timeline::Hold Timeline::holdAt(QPointF place) const {
  const auto track = trackAt(place.y());
  if (!track) return {Grip::playhead, chosen_};
  const auto& range = *project_.tracks()[*track].engine->trimRange;
  if (!range) return {Grip::playhead, *track};
  const TimelineScale at = scale();
  const QRectF lane = laneRect(*track);
  const auto x = [&](std::int64_t frame) { return at.xOf(project_.timelineFrame(*track, frame)); };
  const bool isHigh = place.y() < lane.top() + kCorner + kReach;
  const auto isNear = [&](double edge) { return std::abs(place.x() - edge) <= kReach; };
  if (isHigh && isNear(x(range->startFrame + range->fadeInFrames) + kCorner / 2))
    return {Grip::fadeIn, *track};
  if (isHigh && isNear(x(range->endFrame - range->fadeOutFrames) - kCorner / 2))
    return {Grip::fadeOut, *track};
  if (isNear(x(range->startFrame))) return {Grip::start, *track};
  if (isNear(x(range->endFrame))) return {Grip::end, *track};
  const double gainY = lane.top() + TimelineScale::shareOfGain(range->gainLinear) * lane.height();
  const bool isInside = place.x() > x(range->startFrame) && place.x() < x(range->endFrame);
  if (isInside && std::abs(place.y() - gainY) <= kReach / 2) return {Grip::gain, *track};
  return {Grip::playhead, *track};
}

std::int64_t Timeline::snapped(std::int64_t frame) const {
  const TimelineScale at = scale();
  const auto isNear = [&](std::int64_t other) {
    return std::abs(at.xOf(frame) - at.xOf(other)) <= kSnapPixels;
  };
  if (isNear(project_.playhead())) return project_.playhead();
  for (std::size_t track = 0; track < waves_.size(); ++track) {
    for (const AudioFileMark& mark : project_.tracks()[track].engine->marks()) {
      if (const std::int64_t other = project_.timelineFrame(track, mark.frame); isNear(other)) return other;
    }
    const auto& range = *project_.tracks()[track].engine->trimRange;
    if (!range || track == held_.track) continue;
    for (const std::int64_t edge : {range->startFrame, range->endFrame}) {
      if (const std::int64_t other = project_.timelineFrame(track, edge); isNear(other)) return other;
    }
  }
  return frame;
}

void Timeline::drag(QPointF place, SettingForm form) {
  const TimelineScale at = scale();
  if (held_.grip == Grip::playhead) {
    const std::int64_t frame = std::clamp<std::int64_t>(at.frameAt(place.x()), 0, project_.totalFrames());
    return form == SettingForm::live ? project_.scrub(frame) : project_.seek(frame);
  }
  EditorEngine& track = *project_.tracks()[held_.track].engine;
  const auto& range = *track.trimRange;
  if (!range) return;
  const std::int64_t frame = project_.trackFrame(held_.track, snapped(at.frameAt(place.x())));
  switch (held_.grip) {
    case Grip::start:
      return track.setTrimStart(frame, form);
    case Grip::end:
      return track.setTrimEnd(frame, form);
    case Grip::fadeIn:
      return track.setFadeIn(std::max<std::int64_t>(0, frame - range->startFrame), form);
    case Grip::fadeOut:
      return track.setFadeOut(std::max<std::int64_t>(0, range->endFrame - frame), form);
    case Grip::gain: {
      const QRectF lane = laneRect(held_.track);
      const double gain = TimelineScale::gainAtShare((place.y() - lane.top()) / lane.height());
      // Unity is easy to find again.
      return track.setGainLinear(std::abs(20 * std::log10(gain)) < 0.5 ? 1 : gain, form);
    }
    default:
      return;
  }
}

void Timeline::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton || waves_.empty()) return;
  held_ = holdAt(event->position());
  chooseTrack(held_.track);
  if (held_.grip == Grip::playhead) drag(event->position(), SettingForm::live);
}

void Timeline::mouseMoveEvent(QMouseEvent* event) {
  if (event->buttons() & Qt::LeftButton && held_.grip != Grip::none)
    return drag(event->position(), SettingForm::live);
  const Grip grip = waves_.empty() ? Grip::none : holdAt(event->position()).grip;
  setCursor(grip == Grip::gain                             ? Qt::SizeVerCursor
            : grip == Grip::none || grip == Grip::playhead ? Qt::ArrowCursor
                                                           : Qt::SizeHorCursor);
}

void Timeline::mouseReleaseEvent(QMouseEvent* event) {
  if (held_.grip == Grip::none) return;
  drag(event->position(), SettingForm::final);
  project_.endScrub();
  held_ = {};
}

// The frame under the pointer stays there.
void Timeline::zoomAround(double x, double factor) {
  EditorViewport& view = project_.viewport();
  const double length = static_cast<double>(view.length());
  const double wanted = std::clamp(length * factor, static_cast<double>(EditorViewport::kMinimumLength),
                                   static_cast<double>(std::max<std::int64_t>(view.totalFrames(), 1)));
  const double share = x / std::max(1, width());
  const double start = static_cast<double>(*view.viewStart) + share * (length - wanted);
  view.show(std::llround(start), std::llround(start + wanted));
}

void Timeline::wheelEvent(QWheelEvent* event) {
  const QPoint turned = event->angleDelta();
  const bool scrolls = event->modifiers() & Qt::ShiftModifier || std::abs(turned.x()) > std::abs(turned.y());
  const double steps = (scrolls && turned.x() != 0 ? turned.x() : turned.y()) / kWheelStep;
  if (scrolls) {
    const auto length = static_cast<double>(project_.viewport().length());
    project_.viewport().scroll(std::llround(-steps * kScrollShare * length));
  } else {
    zoomAround(event->position().x(), std::pow(kWheelZoom, -steps));
  }
  event->accept();
}

bool Timeline::event(QEvent* event) {
  if (event->type() != QEvent::NativeGesture) return QWidget::event(event);
  return pinch(*static_cast<QNativeGestureEvent*>(event)) || QWidget::event(event);
}

// Some platforms tell of no beginning. The event's value is what the distance has grown by since the last.
bool Timeline::pinch(const QNativeGestureEvent& gesture) {
  EditorViewport& view = project_.viewport();
  const Qt::NativeGestureType type = gesture.gestureType();
  if (type == Qt::EndNativeGesture) {
    view.pinchEnded();
    pinchScale_.reset();
    return true;
  }
  if (type != Qt::BeginNativeGesture && type != Qt::ZoomNativeGesture) return false;
  if (!pinchScale_ || type == Qt::BeginNativeGesture) {
    pinchScale_ = 1;
    view.pinchBegan(project_.playhead(), scale().frameAt(gesture.position().x()));
  }
  if (type == Qt::ZoomNativeGesture)
    view.pinchChanged(*pinchScale_ *= 1 + gesture.value(), project_.playhead());
  return true;
}

void Timeline::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Down) return chooseTrack(chosen_ + 1);
  if (event->key() == Qt::Key_Up && chosen_ > 0) return chooseTrack(chosen_ - 1);
  emit keyPressed(event);
}

void Timeline::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), themed(ColourRole::window));
  const TimelineScale at = scale();
  paintRuler(painter, at);
  for (std::size_t track = 0; track < waves_.size(); ++track) paintLane(painter, at, track);
  const double x = at.xOf(project_.playhead());
  painter.setPen(QPen(themed(ColourRole::text), 1));
  painter.drawLine(QPointF(x, 0), QPointF(x, height()));
  if (!hasFocus()) return;
  painter.setPen(QPen(themed(ColourRole::focus), 2));
  painter.setBrush(Qt::NoBrush);
  painter.drawRect(laneRect(chosen_).adjusted(1, 0, -1, 0));
}

void Timeline::paintRuler(QPainter& painter, const TimelineScale& at) const {
  painter.fillRect(0, 0, width(), kRuler, themed(ColourRole::panel));
  if (project_.totalFrames() == 0) return;
  QFont small = font();
  small.setPointSizeF(small.pointSizeF() * 0.85);
  painter.setFont(small);
  const double rate = project_.sampleRate();
  const int decimals = at.decimals(rate);
  for (const TimelineScale::Tick& tick : at.ticks(rate)) {
    const double x = at.xOf(tick.frame);
    painter.setPen(themed(ColourRole::line));
    painter.drawLine(QPointF(x, tick.isNamed ? 6 : kRuler - 6), QPointF(x, kRuler));
    if (!tick.isNamed) continue;
    painter.setPen(themed(ColourRole::dimText));
    painter.drawText(QPointF(x + 4, kRuler - 8), clockText(project_.secondsOf(tick.frame), decimals));
  }
}

// A flag in the ruler and a line down the lane, with its text as far as the next one.
void Timeline::paintMarks(QPainter& painter, const TimelineScale& at, std::size_t track) const {
  const auto& marks = project_.tracks()[track].engine->marks();
  const QRectF lane = laneRect(track);
  const QColor colour = themed(ColourRole::warningText);
  for (std::size_t i = 0; i < marks.size(); ++i) {
    const double x = at.xOf(project_.timelineFrame(track, marks[i].frame));
    if (x < 0 || x > width()) continue;
    const double end =
        i + 1 < marks.size() ? at.xOf(project_.timelineFrame(track, marks[i + 1].frame)) : width();
    painter.setPen(QPen(colour, 1, Qt::DashLine));
    painter.drawLine(QPointF(x, lane.top()), QPointF(x, lane.bottom()));
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    painter.drawPolygon(QPolygonF{{x, kRuler - 8.0}, {x + 6, kRuler - 4.0}, {x, kRuler + 0.0}});
    painter.setPen(colour);
    const QString text = painter.fontMetrics().elidedText(QString::fromStdString(printable(marks[i].text)),
                                                          Qt::ElideRight, static_cast<int>(end - x - 6));
    painter.drawText(QPointF(x + 4, lane.top() + painter.fontMetrics().ascent() + 2), text);
  }
}

void Timeline::paintLane(QPainter& painter, const TimelineScale& at, std::size_t track) {
  const QRectF lane = laneRect(track);
  painter.fillRect(lane, themed(track == chosen_ ? ColourRole::raised : ColourRole::field));
  if (!waves_[track]->isReady()) {
    painter.setPen(themed(ColourRole::dimText));
    painter.drawText(lane, Qt::AlignCenter, tr("Reading waveform…"));
  } else {
    paintWave(painter, at, track, lane);
  }
  paintEdit(painter, at, track, lane);
  paintMarks(painter, at, track);
}

// A line a pixel, as tall as the sound is there.
void Timeline::paintWave(QPainter& painter, const TimelineScale& at, std::size_t track, const QRectF& lane) {
  LaneWave& wave = *waves_[track];
  const double ratio = project_.tracks()[track].engine->format().sampleRate / project_.sampleRate();
  const auto frame = [&](int x) {
    return std::llround((static_cast<double>(at.start) + x * at.framesPerPixel()) * ratio);
  };
  wave.prepare(frame(0), frame(width()), at.framesPerPixel() * ratio);
  painter.setPen(themed(project_.isAudible(track) ? ColourRole::meterLow : ColourRole::dimText));
  sonmere::paintWave(painter, lane, width(), [&](int x) {
    const std::int64_t from = frame(x);
    return wave.extremes(from, std::max<std::int64_t>(frame(x + 1), from + 1));
  });
}

void Timeline::paintEdit(QPainter& painter, const TimelineScale& at, std::size_t track,
                         const QRectF& lane) const {
  const auto& range = *project_.tracks()[track].engine->trimRange;
  if (!range) return;
  const auto x = [&](std::int64_t frame) { return at.xOf(project_.timelineFrame(track, frame)); };
  const double start = x(range->startFrame), end = x(range->endFrame);
  const double fadeIn = x(range->startFrame + range->fadeInFrames),
               fadeOut = x(range->endFrame - range->fadeOutFrames);
  QColor shade = themed(ColourRole::window);
  shade.setAlphaF(0.72f);
  painter.fillRect(QRectF(QPointF(lane.left(), lane.top()), QPointF(start, lane.bottom())), shade);
  painter.fillRect(QRectF(QPointF(end, lane.top()), QPointF(lane.right(), lane.bottom())), shade);
  painter.setPen(Qt::NoPen);
  painter.setBrush(shade);
  painter.drawPolygon(QPolygonF{{start, lane.top()}, {fadeIn, lane.top()}, {start, lane.bottom()}});
  painter.drawPolygon(QPolygonF{{fadeOut, lane.top()}, {end, lane.top()}, {end, lane.bottom()}});
  const QColor accent = themed(ColourRole::accent);
  painter.setPen(QPen(accent, 2));
  painter.drawLine(QPointF(start, lane.top()), QPointF(start, lane.bottom()));
  painter.drawLine(QPointF(end, lane.top()), QPointF(end, lane.bottom()));
  painter.fillRect(QRectF(fadeIn, lane.top(), kCorner, kCorner), accent);
  painter.fillRect(QRectF(fadeOut - kCorner, lane.top(), kCorner, kCorner), accent);
  const double gainY = lane.top() + TimelineScale::shareOfGain(range->gainLinear) * lane.height();
  painter.setPen(QPen(themed(ColourRole::boost), 1));
  painter.drawLine(QPointF(std::max(0.0, start), gainY), QPointF(std::min<double>(width(), end), gainY));
}

}  // namespace sonmere
