#pragma once

#include <memory>
#include <string>

#include "recording/Recorder.h"
#include "recording/RingDrain.h"

namespace sonmere {

// What records what a render path writes into a ring. Main thread.
class RingRecorder : public Recorder {
 public:
  // Fill it from one render thread at a time, and let go of it before stop().
  const std::shared_ptr<RecorderRing>& ring() const { return ring_; }

  std::int64_t framesWaiting() const override { return drain_->framesWaiting(); }
  std::int64_t lostFrames() const override { return drain_->lostFrames(); }
  void stop(Task done) override { drain_->stop(std::move(done)); }

 protected:
  // Begins to drain.
  RingRecorder(const RecordingContext& context, const std::shared_ptr<RecorderFile>& file,
               std::shared_ptr<RecorderRing> ring, const std::string& reliefQueueLabel)
      : Recorder(file),
        ring_(std::move(ring)),
        drain_(RingDrain::start(context, file, ring_, reliefQueueLabel)) {}

 private:
  const std::shared_ptr<RecorderRing> ring_;
  const std::shared_ptr<RingDrain> drain_;
};

}  // namespace sonmere
