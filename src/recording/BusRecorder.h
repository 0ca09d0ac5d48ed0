#pragma once

#include <memory>
#include <string>

#include "recording/RingRecorder.h"

namespace sonmere {

// Records one bus: the render path fills the ring, a task on a serial queue empties it into a file. Main
// thread.
class BusRecorder final : public RingRecorder {
 public:
  struct Request {
    int busIndex = 0;
    RecordingFormat format = RecordingFormat::wav;
    double sampleRate = 48000;                             // Hz
    std::string name;                                      // in front of the stamp
    std::string folder;                                    // exists
    Date sessionDate{};                                    // the stamp, shared by what began together
    std::shared_ptr<const StartLine> startLine = nullptr;  // shared too; null: all that comes is recorded
    TakeFileOptions options = {};
  };
  static constexpr const char* kWriterName = "BusRecorder";
  static constexpr const char* kQueueLabel = "sonmere.busrecorder.drain";
  static constexpr const char* kReliefQueueLabel = "sonmere.busrecorder.relief";

  // Makes the file and begins to drain. After an error nothing is left behind.
  static Outcome<std::shared_ptr<BusRecorder>> create(const RecordingContext& context,
                                                      const Request& request);

  int busIndex() const { return busIndex_; }

 private:
  BusRecorder(const RecordingContext& context, int busIndex, const std::shared_ptr<RecorderFile>& file,
              std::shared_ptr<RecorderRing> ring)
      : RingRecorder(context, file, std::move(ring), kReliefQueueLabel), busIndex_(busIndex) {}

  const int busIndex_;
};

}  // namespace sonmere
