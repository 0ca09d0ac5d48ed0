#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Lifetime.h"
#include "base/Observable.h"
#include "recording/PrerollState.h"
#include "recording/RecorderMaker.h"

namespace sonmere {

inline constexpr const char* kPrerollKey = "record.preroll";
inline constexpr double kLongestPreroll = 600;  // seconds

// Keeps in memory the last seconds of what could be recorded and is not, so that a recording can begin before
// it was asked for. What is kept is recorded as a take would be, by the same recorders, only into memory; a
// take takes them over. Main thread.
class Preroll {
 public:
  // What could be recorded now, as RecordedSource names it.
  using Sources = std::function<std::vector<int>()>;

  Preroll(const RecordingContext& context, RecorderFeed& feed, MicRecorderFeed* mic);
  ~Preroll();

  // Follows the setting and the sources from now on.
  void start(Sources sources);
  // Looks at the setting again.
  void settingChanged();
  // Why so many seconds are not to be had before a take begins; nothing where they are.
  std::optional<std::string> lack(double seconds) const;

  // The recorders that keep these sources, with what belongs to them, fed as they are; none of a source that
  // is not kept. Those that are not begun are to be given back.
  std::vector<PreparedRecorder> take(std::span<const int> sources);
  void giveBack(std::vector<PreparedRecorder> kept);
  // The files that they are to go on in, in their order; all or none, then nothing of the take.
  using Files = std::vector<std::shared_ptr<AudioFileWriter>>;
  Outcome<Files> open(RecordingTake& take, const std::vector<PreparedRecorder>& kept,
                      const RecorderFile::Destination& to) const;
  // They go on there, each from the same instant on: so many seconds ago, or since it was kept.
  void begin(const std::vector<PreparedRecorder>& kept, const Files& files,
             const RecorderFile::Destination& to, std::optional<double> seconds) const;

  // Writes the last seconds of what is kept into files, one session, without a take. `done` is told the paths
  // on the main queue.
  using Saved = std::function<void(Outcome<std::vector<std::string>>)>;
  void save(double seconds, const std::string& folder, RecordingFormat format,
            std::optional<RecordingBitDepth> depth, Saved done);

  OwnedObservable<PrerollState, Preroll> state;

 private:
  struct Save;
  double wantedSeconds() const;
  void tend();
  bool isStale(const PreparedRecorder& each, std::span<const int> wanted) const;
  // What is wanted now.
  std::vector<int> dropStale();
  bool isKept(int source) const;
  bool lacksSides() const;
  bool keep(const std::vector<int>& sources);
  void drop(int lead);
  void dropAll();
  void publish();
  std::optional<std::string> lackOfMemory(double seconds, std::size_t sources) const;

  const RecordingContext& context_;
  RecordingContext memory_;
  RecorderFeed& feed_;
  MicRecorderFeed* const mic_;
  const RecorderMaker maker_;
  const std::shared_ptr<Queue> queue_;  // that saves
  Sources sources_;
  double seconds_ = 0;  // that are kept
  RecordingLayout layout_ = RecordingLayout::mixed;
  std::string refusal_;
  int appsTries_ = 0;  // without a tap
  std::vector<PreparedRecorder> kept_;
  ScopedTask timer_;
  Lifetime lifetime_;
};

}  // namespace sonmere
