#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recording/BusRecorder.h"
#include "recording/MicRecorderFeed.h"
#include "recording/MicSideRecorder.h"
#include "recording/RecorderFeed.h"
#include "recording/RecordingLayout.h"
#include "recording/RecordingTake.h"
#include "recording/TakeRequest.h"

namespace sonmere {

// A recorder that was made and waits to be fed.
struct PreparedRecorder {
  int source = 0;
  std::shared_ptr<Recorder> recorder;
  // Another source, whose stop ends this one too; its own where it stands alone.
  int lead = 0;
  // From when on it is fed, and no more; null where it listens by itself.
  Task attach, detach;
  // Hz, to which the render that feeds it is bound.
  std::optional<double> boundRate;
  // Where its file begins; null: with what comes first.
  std::shared_ptr<StartLine> startLine = nullptr;
  // Of the act that it belongs to, and shared by what began with it.
  std::shared_ptr<const TakeRequest> request = nullptr;

  bool isSide() const { return lead != source; }
};

// Draws the line at which they begin, once all of them are fed; when that is.
Date drawStartLine(const RecordingContext& context, const std::vector<PreparedRecorder>& fed);

// Makes the recorders of one act of recording: which files there are, how they are called, and what happens
// where one can't be made. Main thread.
class RecorderMaker {
 public:
  struct Failure {
    std::string message;  // for the user
    std::string line;     // of the log; empty for none
  };
  using Made = std::expected<std::vector<PreparedRecorder>, Failure>;

  // The feeds outlive it; `mic` may be null.
  RecorderMaker(const RecordingContext& context, RecorderFeed& feed, MicRecorderFeed* mic)
      : context_(context), feed_(feed), mic_(mic) {}

  // All of them or none, and then nothing of the take. `micIsRecorded` says that the microphone has its
  // recorder already.
  Made make(RecordingTake& take, std::span<const int> sources, RecordingFormat format,
            const TakeFileOptions& options, bool micIsRecorded) const;

  // "Sonmere Recording" for bus 0, "Sonmere Track {n-1}" from bus 2 on, "Sonmere Mic".
  static std::string baseName(int source);

 private:
  struct Take;
  std::optional<Failure> makeSource(Take& take, int source) const;
  std::optional<Failure> makeBus(Take& take, int bus) const;
  std::optional<Failure> makeBridge(Take& take, const std::string& name, const char* log) const;
  std::optional<Failure> makeSession(Take& take) const;
  std::optional<Failure> makeMic(Take& take, int lead) const;
  void makeInputs(Take& take) const;
  void makeApps(Take& take) const;
  double fileRate() const;

  const RecordingContext& context_;
  RecorderFeed& feed_;
  MicRecorderFeed* const mic_;
};

}  // namespace sonmere
