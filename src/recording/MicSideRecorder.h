#pragma once

#include <memory>
#include <string>

#include "recording/RingRecorder.h"

namespace sonmere {

// Records the microphone, or an additional input of its device: the mic's capture fills the ring and says at
// which rate; the file has one, and what comes at another is converted. Main thread.
class MicSideRecorder final : public RingRecorder {
 public:
  struct Request {
    std::string name;           // in front of the stamp
    Date sessionDate{};         // the stamp, shared by what began together
    double fileRate = 48000;    // Hz
    double sourceRate = 48000;  // Hz, of what comes first; that of the file when not above zero
    int channels = 1;           // from two on the file is stereo
    std::string folder;         // exists
    std::shared_ptr<const StartLine> startLine = nullptr;  // shared too; null: all that comes is recorded
    TakeFileOptions options = {};
  };
  static constexpr const char* kWriterName = "MicSideRecorder";
  static constexpr const char* kQueueLabel = "sonmere.micsiderecorder.drain";
  static constexpr const char* kReliefQueueLabel = "sonmere.micsiderecorder.relief";

  // Makes the file, a WAV, and begins to drain. After an error nothing is left behind.
  static Outcome<std::shared_ptr<MicSideRecorder>> create(const RecordingContext& context,
                                                          const Request& request);

 private:
  MicSideRecorder(const RecordingContext& context, const std::shared_ptr<RecorderFile>& file,
                  std::shared_ptr<RecorderRing> ring)
      : RingRecorder(context, file, std::move(ring), kReliefQueueLabel) {}
};

}  // namespace sonmere
