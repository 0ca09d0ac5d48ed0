#include "app/LatencyHistory.h"

#include <string_view>

#include "base/AtomicFile.h"
#include "base/FileLock.h"

namespace sonmere {

namespace {

constexpr Duration kLockWait = std::chrono::seconds(2);

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    if (end > 0) lines.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

void appendLine(const std::string& folder, const std::string& path, std::string line) {
  if (!createFolders(folder)) return;
  // Of two programs each would take away the other's line.
  const auto lock = FileLock::take(path + ".lock", kLockWait);
  const auto stored = readWholeFile(path);
  // A file that is there and can't be read stays as it is.
  if (!stored && stored.error().code != ENOENT) return;
  auto lines = linesOf(stored.value_or(""));
  lines.push_back(std::move(line));
  std::string text;
  for (std::size_t i = lines.size() - std::min(lines.size(), LatencyHistory::kLines); i < lines.size(); ++i)
    text += lines[i] + "\n";
  // A lost line is the accepted price of a full disk.
  static_cast<void>(writeFileAtomically(path, text));
}

}  // namespace

LatencyHistory::LatencyHistory(Runtime& runtime, const std::string& folder)
    : folder_(folder), path_(folder + "/" + kFileName), queue_(runtime.serialQueue("sonmere.latencyprobe")) {}

void LatencyHistory::append(const LatencyEntry& entry) {
  queue_->post(
      [folder = folder_, path = path_, line = latencyEntryToJSON(entry)] { appendLine(folder, path, line); });
}

std::vector<LatencyEntry> LatencyHistory::entries() const {
  std::vector<LatencyEntry> entries;
  for (const std::string& line : linesOf(readWholeFile(path_).value_or("")))
    if (auto entry = latencyEntryFromJSON(line)) entries.push_back(std::move(*entry));
  return entries;
}

std::string LatencyHistory::fileText() const {
  return readWholeFile(path_).value_or("(no latency history recorded yet)\n");
}

}  // namespace sonmere
