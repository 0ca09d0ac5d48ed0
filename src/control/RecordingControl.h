#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/ToneFerryApp.h"
#include "control/RecordingHealthState.h"
#include "control/RecordingState.h"

namespace sonmere {

// The recordings of buses and of the microphone. Main thread.
class RecordingControl {
 public:
  struct Start {
    std::vector<int> sources;                      // as RecordedSource.h names them
    bool isOfAll = false;                          // instead: of all that there is to record
    std::optional<std::string> layout;             // chosen first, as by settings
    std::optional<std::string> format;             // without one that of the settings
    std::optional<std::string> depth;              // the same
    std::optional<std::string> folder;             // a full path; without one that of the settings
    std::optional<double> mostSeconds, mostBytes;  // at which it ends by itself
    std::optional<double> prerollSeconds;          // of what was heard before; without, what is kept
    std::optional<double> partSeconds;             // a file's length before the next one takes over
  };
  using Started = std::function<void(Outcome<std::vector<RecordingState>>)>;
  // The paths of the files that a stop completed, that which was asked for first.
  using Stopped = std::function<void(Outcome<std::vector<std::string>>)>;

  explicit RecordingControl(ToneFerryApp& app) : app_(app) {}

  // Buses, then what comes beside them.
  std::vector<RecordingState> list() const;
  RecordingHealthState health() const;
  // One act, whose files are one session. A Track that no app plays on is refused, since its recording would
  // be given up as stalled, and then none begins. `done` is told all that began; later where something had to
  // be switched on for it.
  void start(const Start& request, Started done);
  RecordingLayout layout() const { return *app_.dualMonoEngine()->layout; }
  // What the bridge's recording would have switched on now.
  std::vector<std::string> willSwitchOn() const { return app_.recordingSources()->missing(); }
  // With what its layout brought along. A file that is gone is an error.
  void stop(int source, Stopped done);
  void stopAll(Stopped done);
  PrerollState preroll() const { return *app_.recordings()->preroll().state; }
  // The last seconds of what is kept into files, of which only folder, format and depth count.
  void saveLast(double seconds, const Start& request, Stopped done);
  // Marks what is heard now in all files that are being recorded.
  Outcome<std::vector<BusRecordings::Mark>> mark(const std::string& text);

 private:
  Outcome<void> checkStart(int source) const;
  Outcome<void> checkPreroll(double seconds) const;
  Outcome<TakeRequest> checkRequest(const Start& request) const;
  void startAll(Start request, Started done);
  Outcome<std::vector<RecordingState>> begin(const std::vector<int>& sources, const TakeRequest& request);

  ToneFerryApp& app_;
};

}  // namespace sonmere
