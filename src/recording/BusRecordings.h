#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Observable.h"
#include "recording/BusRecorder.h"
#include "recording/BusRecordingStatus.h"
#include "recording/RecorderFeed.h"
#include "recording/RecorderStops.h"
#include "recording/RecordingTake.h"
#include "recording/RecordingWatch.h"
#include "recording/RecordingsFolder.h"

namespace sonmere {

// Owns the recorders of the buses: which run, where they write, how they end together, and what happens when
// one ends by itself. Main thread.
class BusRecordings {
 public:
  // The folder for a new recording.
  using Folder = std::function<Outcome<std::string>()>;

  // The feed outlives the recordings. Without `folder` it is that of the settings.
  BusRecordings(const RecordingContext& context, RecorderFeed& feed, Folder folder = nullptr);
  // Lets go of what still records; its files end where they are.
  ~BusRecordings();

  // One act, and one session: its files bear one stamp, which is theirs alone in the folder. Leaves out a bus
  // that is being recorded or can't be. On failure sets errorMessage, and none begins.
  void startRecordings(std::span<const int> buses, std::optional<RecordingFormat> format = std::nullopt);
  void startRecording(int bus, std::optional<RecordingFormat> format = std::nullopt) {
    startRecordings({&bus, 1}, format);
  }
  // `done` is told the file's path once it is complete; nothing when the bus wasn't recorded or the file is
  // gone. The bus may be recorded again at once, into a new file.
  void stopRecording(int bus, std::function<void(std::optional<std::string> path)> done = nullptr);
  // `done` is told the paths of those that are there, in the order of buses, once these files and those of
  // stops already under way are complete.
  void stopAllRecordings(std::function<void(std::vector<std::string> paths)> done = nullptr);
  // Stops everything because a file can't go on; all files are kept. Ignored while another such stop runs.
  void handleRecordingFailure(const std::string& reason);

  bool isAnyRecording() const { return !busRecorders_.empty(); }
  bool isRecording(int bus) const { return busRecorders_.contains(bus); }
  // The rate that the bus's render is bound to by its running file, in Hz; nothing without one.
  std::optional<double> recordingRate(int bus) const;
  // Stops that have not completed their files yet.
  bool isAnyStopping() const { return stops_.isAny(); }

  Observable<std::map<int, BusRecordingStatus>> busRecordingStatuses;
  Observable<std::string> errorMessage;
  Observable<std::optional<std::string>> silentRecordingNotice;
  // What became of a file while it was recorded, until the next start.
  Observable<std::optional<std::string>> fileNotice;
  // What the files lack that are being recorded, until the next start.
  Observable<std::optional<std::string>> lossNotice;
  // Used when a start asks for no format; kept in the settings.
  Observable<RecordingFormat> defaultRecordingFormat{RecordingFormat::wav};

  // "Sonmere Recording" for bus 0, "Sonmere Track {n-1}" from bus 2 on.
  static std::string baseName(int bus);

 private:
  using Recorders = std::map<int, std::shared_ptr<Recorder>>;
  Outcome<Recorders> makeRecorders(std::span<const int> buses, RecordingFormat format);
  Outcome<std::shared_ptr<Recorder>> makeRecorder(int bus, RecordingFormat format, const RecordingTake& take);
  void begin(int bus, std::shared_ptr<Recorder> recorder);
  void reportStartFailure(const Error& error);

  void startStatusTimer();
  void stopStatusTimerIfIdle();
  void statusTick();
  // A file that was moved is followed; one that is gone is succeeded by a new one.
  void checkFiles();
  void tellMove(int bus, const std::string& path);
  void continueInNewFile(int bus);
  std::vector<RecordingWatch::Active> activeFiles() const;
  bool checkStall(const std::vector<RecordingWatch::Active>& active);
  void checkSilence(const std::vector<RecordingWatch::Active>& active);
  void checkLosses();

  const RecordingContext context_;
  RecorderFeed& feed_;
  const Folder folder_;
  Recorders busRecorders_;
  std::set<int> rings_;  // buses whose render fills a recorder's ring
  RecorderStops stops_;
  bool handlingWriteFailure_ = false;
  RecordingWatch watch_;
  ScopedTask statusTimer_;
  Subscription writeFailures_;
  Subscription formatChanges_;
};

}  // namespace sonmere
