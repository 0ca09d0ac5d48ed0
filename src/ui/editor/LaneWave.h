#pragma once

#include <QObject>
#include <memory>

#include "ui/editor/WavePyramid.h"

namespace sonmere {

class EditorEngine;
class Workbench;

// What is drawn of one track's sound: from its peaks, and where these are wider than a pixel, from the
// samples, which are read beside the main thread.
class LaneWave : public QObject {
  Q_OBJECT

 public:
  LaneWave(std::shared_ptr<EditorEngine> engine, Workbench& workbench);

  bool isReady() const { return pyramid_ != nullptr; }
  // For frames of the file; asks for samples where `framesPerPixel` is fine enough to want them.
  WaveformBin extremes(std::int64_t from, std::int64_t until) const;
  void prepare(std::int64_t from, std::int64_t until, double framesPerPixel);

 signals:
  void changed();

 public slots:
  // The engine has read the file through.
  void takeEnvelope();

 private:
  void readSamples(std::int64_t from, std::int64_t until);

  const std::shared_ptr<EditorEngine> engine_;
  Workbench& workbench_;
  std::shared_ptr<const WavePyramid> pyramid_;
  std::shared_ptr<const WavePyramid> samples_;  // of the part below
  std::int64_t samplesFrom_ = 0, samplesUntil_ = 0;
  bool isReading_ = false;
  bool usesSamples_ = false;
};

}  // namespace sonmere
