#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "audio/device/Platform.h"
#include "audio/engine/PropertyListener.h"
#include "audio/engine/TapAggregate.h"
#include "recording/RingRecorder.h"

namespace sonmere {

// Records what all other programs play, however they are routed, through a tap of its own. Main thread.
class AppsTapRecorder final : public RingRecorder {
 public:
  struct Request {
    std::string name;                                      // in front of the stamp
    Date sessionDate{};                                    // the stamp, shared by what began together
    double rate = 48000;                                   // Hz, of the file
    std::string folder;                                    // exists
    std::shared_ptr<const StartLine> startLine = nullptr;  // shared too; null: all that comes is recorded
    TakeFileOptions options = {};
  };
  static constexpr const char* kWriterName = "AppsTapRecorder";
  static constexpr std::int64_t kNobodyAudible = -1;  // the code of that error
  static constexpr const char* kQueueLabel = "sonmere.appstaprecorder.drain";
  static constexpr const char* kReliefQueueLabel = "sonmere.appstaprecorder.relief";

  // Makes the tap and the file and begins. After an error nothing is left behind; one is that no program
  // plays, which is no fault. Blocks for the settling time. The platform outlives the recorder.
  static Outcome<std::shared_ptr<AppsTapRecorder>> create(const RecordingContext& context, Platform& platform,
                                                          const Request& request);
  // Whether there is a program that could be heard.
  static bool isAnyAudible(Platform& platform);
  // Ends where it is, unless it was stopped.
  ~AppsTapRecorder() override;

  void stop(Task done) override;

 private:
  class Tap;
  AppsTapRecorder(const RecordingContext& context, const std::shared_ptr<RecorderFile>& file,
                  std::unique_ptr<Tap> tap);

  std::unique_ptr<Tap> tap_;  // null once stopped
};

}  // namespace sonmere
