#include "app/LatencyProbe.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "base/DateText.h"

namespace sonmere {

namespace {

constexpr Duration kStoreInterval = std::chrono::seconds(900);
constexpr double kBacklogChangeMs = 10;
constexpr std::size_t kEntriesShown = 25;

constexpr const char* kHeader =
    "Audio Path Latency (added delay per internal buffer)\n"
    "-----------------------------------------------------\n"
    "delay = audio waiting in the buffer right now; peak = highest since the path started.\n"
    "underrun = buffer ran dry while audio was arriving (an audible gap, and delay grows).\n"
    "starve = nothing arrived at all (normal for an idle app). overflow = buffer lapped (audio lost).\n"
    "Paths: plain app IDs = Per-App Volume; \"route:\" = Per-App Routing; \"monitor:\" = Mix Mode\n"
    "monitoring (their underrun column also counts idle periods); \"mic→bridge\" = mic passthrough.";

std::string rowText(const RingReport& ring) {
  return fmt::format(
      "\n  {:<34} delay {:6.1f} ms  peak {:6.1f} ms  underruns {:<5} starves {:<6} overflows {:<3}  chunks "
      "w{}/r{}",
      ring.id, ring.backlogMs, ring.peakMs, ring.underruns, ring.starves, ring.overflows, ring.writeFrames,
      ring.readFrames);
}

bool isNotable(const RingReport& ring) {
  return ring.underruns > 0 || ring.overflows > 0 || ring.backlogMs >= 5.0 || ring.peakMs >= 20.0;
}

std::string nowText(const LatencyEntry& entry) {
  std::string text = fmt::format("\n\nNow (t+{}s):", entry.uptime);
  if (entry.rings.empty()) text += " no active paths";
  for (const RingReport& ring : entry.rings) text += rowText(ring);
  return text;
}

std::string historyText(const std::vector<LatencyEntry>& entries) {
  if (entries.empty()) return "\n\nHistory: (none recorded yet)";
  std::string text = "\n\nHistory (recorded on change, newest last, survives restarts):";
  const std::size_t older = entries.size() - std::min(entries.size(), kEntriesShown);
  for (std::size_t i = older; i < entries.size(); ++i) {
    text += fmt::format("\n[{} t+{}s]", localDateText(entries[i].date, "%m-%d %H:%M:%S"), entries[i].uptime);
    for (const RingReport& ring : entries[i].rings)
      if (isNotable(ring)) text += rowText(ring);
  }
  if (older > 0) text += fmt::format("\n... ({} older entries in {})", older, LatencyHistory::kFileName);
  return text;
}

bool differs(const RingReport& now, const RingReport& last) {
  return now.underruns != last.underruns || now.overflows != last.overflows ||
         std::abs(now.backlogMs - last.backlogMs) >= kBacklogChangeMs;
}

// Whether rings came, went, or show something worth a line.
bool differs(const std::vector<RingReport>& now, const std::vector<RingReport>& last) {
  std::set<std::string_view> ids;
  for (const RingReport& ring : now) ids.insert(ring.id);
  if (ids.size() != last.size()) return true;
  return std::ranges::any_of(now, [&](const RingReport& ring) {
    const auto before = std::ranges::find(last, ring.id, &RingReport::id);
    return before == last.end() || differs(ring, *before);
  });
}

}  // namespace

LatencyProbe::LatencyProbe(Runtime& runtime, const SettingsStore& settings, const std::string& folder)
    : runtime_(runtime), settings_(settings), startedAt_(runtime.uptime()), history_(runtime, folder) {}

LatencyProbe::Entry LatencyProbe::snapshot() const {
  Entry entry;
  entry.date = runtime_.wallTime();
  entry.uptime = std::chrono::floor<std::chrono::seconds>(runtime_.uptime() - startedAt_).count();
  for (const LatencySource* source : sources_)
    for (RingReport& ring : source->latencyRings()) entry.rings.push_back(std::move(ring));
  return entry;
}

bool LatencyProbe::hasRings() const {
  return std::ranges::any_of(sources_,
                             [](const LatencySource* source) { return !source->latencyRings().empty(); });
}

bool LatencyProbe::mustStore(const Entry& entry) const {
  return !lastEntry_ || settings_.boolValue(kEveryTickKey) ||
         entry.date - lastEntry_->date >= kStoreInterval || differs(entry.rings, lastEntry_->rings);
}

void LatencyProbe::record() {
  Entry entry = snapshot();
  if (entry.rings.empty() || !mustStore(entry)) return;
  history_.append(entry);
  lastEntry_ = std::move(entry);
}

std::string LatencyProbe::report() const {
  return kHeader + nowText(snapshot()) + historyText(history_.entries());
}

}  // namespace sonmere
