#include "ui/work/Thumbnails.h"

#include <QFile>
#include <algorithm>

#include "editor/waveform/WaveformPeakAnalyzer.h"
#include "ui/work/Workbench.h"

namespace sonmere {
namespace {

// Beyond these the oldest wishes, of rows that were scrolled past, are dropped.
constexpr int kMostWanted = 64;

std::vector<float> columnsOf(const WaveformEnvelope& envelope) {
  std::vector<float> columns(Thumbnails::kColumns, 0);
  for (std::size_t channel = 0; channel < envelope.channels.size(); ++channel) {
    for (int i = 0; i < Thumbnails::kColumns; ++i) {
      const auto edge = [&](int column) { return envelope.totalFrames * column / Thumbnails::kColumns; };
      const WaveformBin bin = extremes(envelope, channel, edge(i), std::max(edge(i + 1), edge(i) + 1));
      float& most = columns[static_cast<std::size_t>(i)];
      most = std::min(1.0f, std::max({most, bin.maxValue, -bin.minValue}));
    }
  }
  return columns;
}

}  // namespace

Thumbnails::~Thumbnails() { *cancelled_ = true; }

const std::vector<float>* Thumbnails::of(const QString& path, quint64 bytes) {
  const auto found = known_.constFind(path);
  const bool isKnown = found != known_.constEnd() && found->bytes == bytes;
  if (isKnown && !found->columns.empty()) return &found->columns;
  if (isKnown && (path == reading_ || wanted_.contains(path))) return nullptr;
  wanted_.removeAll(path);
  wanted_ << path;
  known_[path].bytes = bytes;
  if (wanted_.size() > kMostWanted) known_.remove(wanted_.takeFirst());
  known_[path].columns.clear();
  if (reading_.isEmpty()) next();
  return nullptr;
}

void Thumbnails::next() {
  reading_ = wanted_.isEmpty() ? QString() : wanted_.takeLast();
  if (reading_.isEmpty()) return;
  const auto work = [path = reading_, &log = workbench_.log(), cancelled = cancelled_] {
    const auto envelope =
        WaveformPeakAnalyzer(log).analyze(QFile::encodeName(path).toStdString(), cancelled.get());
    return envelope ? columnsOf(*envelope) : std::vector<float>(kColumns, 0);
  };
  workbench_.run(this, work, [this](std::vector<float> columns) {
    known_[reading_].columns = std::move(columns);
    const QString path = reading_;
    next();
    emit ready(path);
  });
}

}  // namespace sonmere
