#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "audio/device/Platform.h"
#include "dsp/StartLine.h"
#include "recording/Recorder.h"
#include "recording/RecordingContext.h"

namespace sonmere {

// Records the bridge as another program hears it: its input side, with apps, microphone and whoever else
// plays into it. It goes on through changes of the device; a file has one rate, and what comes at another is
// converted. Main thread.
class BridgeCapture final : public Recorder {
 public:
  struct Request {
    RecordingFormat format = RecordingFormat::wav;
    std::string name;                                      // in front of the stamp
    std::string folder;                                    // exists
    Date sessionDate{};                                    // the stamp, shared by what began together
    std::shared_ptr<const StartLine> startLine = nullptr;  // shared too; null: all that comes is recorded
    TakeFileOptions options = {};
  };
  static constexpr const char* kWriterName = "BridgeCapture";
  static constexpr const char* kEngineQueueLabel = "sonmere.bridgecapture.engine";
  static constexpr const char* kWriteQueueLabel = "sonmere.bridgecapture.write";

  // Binds to the bridge, makes the file at its rate and begins. After an error nothing is left behind. The
  // platform outlives the recorder and its stop.
  static Outcome<std::shared_ptr<BridgeCapture>> create(const RecordingContext& context, Platform& platform,
                                                        const Request& request);
  // Ends where it is, unless it was stopped.
  ~BridgeCapture() override;

  std::int64_t framesWaiting() const override;
  // What came while more waited for the drive than there is room for, or could not be converted.
  std::int64_t lostFrames() const override;
  void stop(Task done) override;

 private:
  class Capture;
  class Intake;
  BridgeCapture(Runtime& runtime, std::shared_ptr<RecorderFile> file, std::shared_ptr<Intake> intake,
                std::shared_ptr<Capture> capture);

  Runtime& runtime_;
  const std::shared_ptr<RecorderFile> recorderFile_;
  const std::shared_ptr<Intake> intake_;
  const std::shared_ptr<Capture> capture_;
  bool isStopped_ = false;
};

}  // namespace sonmere
