#include "platform/desktop/ProcessFacts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <filesystem>
#include <optional>
#include <string_view>

#include "base/FileDescriptor.h"

namespace sonmere {

namespace {

constexpr std::size_t kLargestFile = 64 * 1024;
constexpr int kLongestChain = 32;
constexpr std::string_view kDeleted = " (deleted)";

// Files of /proc have no size and may end in the middle when their process does.
std::string readStart(const std::string& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  std::string text;
  std::array<char, 4096> block;
  while (file.valid() && text.size() < kLargestFile) {
    const ssize_t count = ::read(file.get(), block.data(), block.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    text.append(block.data(), std::size_t(count));
  }
  return text;
}

std::string readLink(const std::string& path) {
  std::array<char, PATH_MAX> target;
  const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
  std::string text(target.data(), std::size_t(std::max<ssize_t>(length, 0)));
  if (text.ends_with(kDeleted)) text.resize(text.size() - kDeleted.size());
  return text;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  while (!text.empty()) {
    const auto end = text.find(separator);
    parts.push_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return parts;
}

template <class Number>
Number toNumber(std::string_view text) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// "412 (name, maybe with blanks) S 1 ...": the name may hold anything, so the last parenthesis counts.
bool parseStat(std::string_view stat, ProcessFact& fact) {
  constexpr std::size_t kParent = 1, kStartTime = 19;  // counted from the state
  const auto open = stat.find('('), close = stat.rfind(')');
  if (close == std::string_view::npos || open > close) return false;
  const auto fields = split(stat.substr(std::min(close + 2, stat.size())), ' ');
  if (fields.size() <= kStartTime) return false;
  fact.comm = stat.substr(open + 1, close - open - 1);
  fact.parentPID = toNumber<ProcessID>(fields[kParent]);
  fact.startTime = toNumber<std::uint64_t>(fields[kStartTime]);
  return true;
}

// The one of the hierarchies "0::/path" and "1:name=systemd:/path" that tells more.
std::string parseControlGroup(std::string_view text) {
  std::string_view found;
  for (const std::string_view line : split(text, '\n')) {
    const auto first = line.find(':'), second = line.find(':', first + 1);
    if (second == std::string_view::npos) continue;
    const auto controllers = line.substr(first + 1, second - first - 1), path = line.substr(second + 1);
    if ((controllers.empty() || controllers == "name=systemd") && path.size() > found.size()) found = path;
  }
  return std::string(found);
}

// "name" of the group "[Application]".
std::string parseSandboxID(std::string_view text) {
  constexpr std::string_view kName = "name=";
  bool isInGroup = false;
  for (const std::string_view line : split(text, '\n')) {
    if (line.starts_with('[')) isInGroup = line == "[Application]";
    if (isInGroup && line.starts_with(kName)) return std::string(line.substr(kName.size()));
  }
  return {};
}

std::optional<ProcessFact> readFact(ProcessID pid, const std::string& procFolder) {
  const std::string folder = procFolder + '/' + std::to_string(pid) + '/';
  ProcessFact fact;
  fact.pid = pid;
  if (!parseStat(readStart(folder + "stat"), fact)) return std::nullopt;
  fact.exe = readLink(folder + "exe");
  const std::string arguments = readStart(folder + "cmdline");
  for (const std::string_view argument : split(arguments, '\0')) fact.arguments.emplace_back(argument);
  fact.controlGroup = parseControlGroup(readStart(folder + "cgroup"));
  fact.sandboxID = parseSandboxID(readStart(folder + "root/.flatpak-info"));
  ProcessFact after;
  const bool isSame = parseStat(readStart(folder + "stat"), after) && after.startTime == fact.startTime;
  return isSame ? std::optional(std::move(fact)) : std::nullopt;
}

}  // namespace

ProcessFacts readProcessFacts(ProcessID pid, const std::string& procFolder) {
  ProcessFacts facts;
  while (pid > 1 && facts.chain.size() < kLongestChain) {
    auto fact = readFact(pid, procFolder);
    // A parent is older than its child; a younger process was given the number of one that has gone.
    if (!fact || (!facts.chain.empty() && fact->startTime > facts.chain.back().startTime)) break;
    pid = fact->parentPID;
    facts.chain.push_back(std::move(*fact));
  }
  return facts;
}

std::vector<ProcessID> userProcesses(const std::string& procFolder) {
  std::vector<ProcessID> pids;
  std::error_code failed;
  for (std::filesystem::directory_iterator at(procFolder, failed), end; !failed && at != end;
       at.increment(failed)) {
    const std::string name = at->path().filename();
    const auto pid = toNumber<ProcessID>(name);
    struct stat info {};
    const bool isProcess = pid > 0 && name.find_first_not_of("0123456789") == std::string::npos;
    if (isProcess && ::stat(at->path().c_str(), &info) == 0 && info.st_uid == ::getuid()) pids.push_back(pid);
  }
  return pids;
}

}  // namespace sonmere
