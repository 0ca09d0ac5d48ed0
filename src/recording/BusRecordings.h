#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Observable.h"
#include "recording/BusRecordingStatus.h"
#include "recording/Preroll.h"
#include "recording/RecorderMaker.h"
#include "recording/RecorderStops.h"
#include "recording/RecordingWatch.h"
#include "recording/RecordingsFolder.h"
#include "recording/TakeBounds.h"

namespace sonmere {

// Owns the recorders of the buses, and those of the microphone and of a layout beside them: which run, where
// they write, how they end together, and what happens when one ends by itself. What each is of is told by
// RecordedSource. Main thread.
class BusRecordings {
 public:
  // The folder for a new recording.
  using Folder = std::function<Outcome<std::string>()>;

  // The feeds outlive the recordings. Without `folder` it is that of the settings, without `mic` there is no
  // microphone.
  BusRecordings(const RecordingContext& context, RecorderFeed& feed, Folder folder = nullptr,
                MicRecorderFeed* mic = nullptr);
  // Lets go of what still records; its files end where they are.
  ~BusRecordings();

  // One act, and one session: its files bear one stamp, which is theirs alone in the folder. What comes
  // beside the bridge is for the layout in the settings to say. Leaves out what is being recorded or can't
  // be. On failure sets errorMessage, and none begins.
  void startRecordings(std::span<const int> sources, const TakeRequest& request = {});
  void startRecording(int source, const TakeRequest& request = {}) { startRecordings({&source, 1}, request); }
  struct StoppedFile {
    int source = 0;
    std::vector<std::string> paths;  // of its parts in order; none: the file is gone
  };
  using Stopped = std::vector<StoppedFile>;
  // Stops it with what its layout brought along. `done` is told the files once all are complete; none when it
  // wasn't recorded. All may be recorded again at once, into new files.
  void stopTake(int source, std::function<void(const Stopped&)> done);
  // The same; `done` is told of its own file alone, and nothing where it is gone.
  void stopRecording(int source, std::function<void(std::optional<std::string> path)> done = nullptr);
  // `done` is told the paths of those that are there, in the order of buses, once these files and those of
  // stops already under way are complete.
  void stopAllRecordings(std::function<void(std::vector<std::string> paths)> done = nullptr);
  // Stops everything because a file can't go on; all files are kept. Ignored while another such stop runs.
  void handleRecordingFailure(const std::string& reason);

  struct Mark {
    std::string path;
    std::int64_t frame = 0;
    double seconds = 0;  // into the file
  };
  // Marks what comes now in every file that is being recorded; those of one take at one time. Nothing where
  // nothing is recorded.
  std::vector<Mark> mark(const std::string& text);

  // What is kept of what was just heard. What is being recorded is not.
  Preroll& preroll() { return preroll_; }
  // Writes the last seconds of that into files, without a recording; `done` is told their paths.
  void saveLast(double seconds, const TakeRequest& request, Preroll::Saved done);

  bool isAnyRecording() const { return !running_.empty(); }
  bool isRecording(int source) const { return running_.contains(source); }
  // The rate that the bus's render is bound to by its running file, in Hz; nothing without one.
  std::optional<double> recordingRate(int bus) const;
  // Stops that have not completed their files yet.
  bool isAnyStopping() const { return stops_.isAny(); }

  // By what is recorded.
  OwnedObservable<std::map<int, BusRecordingStatus>, BusRecordings> busRecordingStatuses;
  OwnedObservable<std::string, BusRecordings> errorMessage;
  OwnedObservable<std::optional<std::string>, BusRecordings> silentRecordingNotice;
  // What became of a file while it was recorded, until the next start.
  OwnedObservable<std::optional<std::string>, BusRecordings> fileNotice;
  // What the files lack that are being recorded, until the next start.
  OwnedObservable<std::optional<std::string>, BusRecordings> lossNotice;
  // That a recording has ended because it has what was asked for, until the next start.
  OwnedObservable<std::optional<std::string>, BusRecordings> endNotice;
  // That its drive is getting full, while something is recorded.
  OwnedObservable<std::optional<std::string>, BusRecordings> spaceNotice;
  // Used when a start asks for no format; kept in the settings.
  OwnedObservable<RecordingFormat, BusRecordings> defaultRecordingFormat{RecordingFormat::wav};
  void setDefaultRecordingFormat(RecordingFormat format);

 private:
  Outcome<std::string> folderFor(const TakeRequest& request) const;
  RecorderMaker::Made begin(RecordingTake& take, std::vector<int> wanted, RecordingFormat format,
                            const TakeFileOptions& options, std::optional<double> prerollSeconds);
  void show(const PreparedRecorder& prepared);
  void reportStartFailure(const RecorderMaker::Failure& failure);
  void tellStart(const std::vector<PreparedRecorder>& begun);
  void tellStop(const PreparedRecorder& ended, std::size_t sides);
  // A source with what begins and ends with it, its lead first; nothing where it isn't recorded.
  std::vector<int> takeOf(int source) const;
  void stopOne(int source, std::function<void(const PreparedRecorder&)> done);

  void startStatusTimer();
  void stopStatusTimerIfIdle();
  void statusTick();
  // A file that was moved is followed; one that is gone is succeeded by a new one.
  void checkFiles();
  void tellMove(int source, const std::string& path);
  void continueInNewFile(int source);
  std::vector<RecordingWatch::Active> activeFiles() const;
  bool checkStall(const std::vector<RecordingWatch::Active>& active);
  void checkSilence(const std::vector<RecordingWatch::Active>& active);
  void checkLosses();
  // Ends acts that have what was asked for, or no room any more.
  void checkBounds();
  TakeExtent extentOf(const TakeRequest* act) const;
  void endTake(const TakeRequest* act, const TakeEnd& end);

  const RecordingContext context_;
  const RecorderMaker maker_;
  Preroll preroll_;
  const Folder folder_;
  std::map<int, PreparedRecorder> running_;  // by source
  RecorderStops stops_;
  bool handlingWriteFailure_ = false;
  RecordingWatch watch_;
  ScopedTask statusTimer_;
  Subscription writeFailures_;
};

}  // namespace sonmere
