#pragma once

#include <memory>
#include <string>

#include "recording/Recorder.h"
#include "recording/RingDrain.h"

namespace sonmere {

// Records one bus: the render path fills the ring, a task on a serial queue empties it into a file. Main
// thread.
class BusRecorder final : public Recorder {
 public:
  struct Request {
    int busIndex = 0;
    RecordingFormat format = RecordingFormat::wav;
    double sampleRate = 48000;  // Hz
    std::string name;           // in front of the stamp
    std::string folder;         // exists
    Date sessionDate{};         // the stamp, shared by what began together
  };
  static constexpr const char* kWriterName = "BusRecorder";
  static constexpr const char* kQueueLabel = "sonmere.busrecorder.drain";
  static constexpr const char* kReliefQueueLabel = "sonmere.busrecorder.relief";

  // Makes the file and begins to drain. After an error nothing is left behind.
  static Outcome<std::shared_ptr<BusRecorder>> create(const RecordingContext& context,
                                                      const Request& request);

  int busIndex() const { return busIndex_; }
  // Fill it from one render thread at a time, and let go of it before stop().
  const std::shared_ptr<RecorderRing>& ring() const { return drain_->ring(); }

  std::int64_t framesWaiting() const override { return drain_->framesWaiting(); }
  std::int64_t lostFrames() const override { return drain_->lostFrames(); }
  void stop(Task done) override { drain_->stop(std::move(done)); }

 private:
  BusRecorder(const RecordingContext& context, int busIndex, const std::shared_ptr<RecorderFile>& file)
      : Recorder(file), busIndex_(busIndex), drain_(RingDrain::start(context, file, kReliefQueueLabel)) {}

  const int busIndex_;
  const std::shared_ptr<RingDrain> drain_;
};

}  // namespace sonmere
