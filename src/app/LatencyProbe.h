#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/LatencyEntry.h"
#include "app/LatencyHistory.h"
#include "base/SettingsStore.h"
#include "dsp/LatencySource.h"

namespace sonmere {

// How much delay the program's internal buffers add, now and in the past. Main thread.
class LatencyProbe {
 public:
  using Ring = RingReport;
  using Entry = LatencyEntry;
  static constexpr const char* kEveryTickKey = "sonmere.latencyProbe.everyTick";

  // `folder` holds the history. The settings outlive the probe.
  LatencyProbe(Runtime& runtime, const SettingsStore& settings, const std::string& folder);

  // Rows come in the order of the sources; a source is removed before it dies.
  void addSource(const LatencySource& source) { sources_.push_back(&source); }
  void removeSource(const LatencySource& source) { std::erase(sources_, &source); }

  // Whether any path exists now.
  bool hasRings() const;
  // Takes a snapshot and stores it when something has changed; to be called every few seconds.
  void record();
  // The section of the diagnostic report.
  std::string report() const;
  // The history for the diagnostic archive.
  std::string historyFileText() const { return history_.fileText(); }

 private:
  Entry snapshot() const;
  bool mustStore(const Entry& entry) const;

  Runtime& runtime_;
  const SettingsStore& settings_;
  const Duration startedAt_;
  LatencyHistory history_;
  std::vector<const LatencySource*> sources_;
  std::optional<Entry> lastEntry_;
};

}  // namespace sonmere
