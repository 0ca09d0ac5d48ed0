#include "platform/desktop/SandboxProcesses.h"

#include <charconv>
#include <fstream>

#include "platform/desktop/ProcessFacts.h"

namespace sonmere {

namespace {

std::string_view property(const AppProperties& stream, const AppProperties& client, std::string_view name) {
  for (const AppProperties* properties : {&stream, &client})
    if (const auto found = properties->find(name); found != properties->end() && !found->second.empty())
      return found->second;
  return {};
}

ProcessID toPID(std::string_view text) {
  ProcessID pid = 0;
  std::from_chars(text.data(), text.data() + text.size(), pid);
  return pid;
}

// The number in the innermost namespace: the last of the line "NSpid:\t4711\t3".
ProcessID insideNumber(const std::string& procFolder, ProcessID pid) {
  std::ifstream status(procFolder + '/' + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("NSpid:")) return toPID(std::string_view(line).substr(line.rfind('\t') + 1));
  return 0;
}

}  // namespace

SandboxProcesses::Found SandboxProcesses::search(const Place& place) const {
  for (const ProcessID pid : userProcesses(procFolder_)) {
    if (insideNumber(procFolder_, pid) != place.inside) continue;
    const ProcessFacts facts = readProcessFacts(pid, procFolder_);
    if (!facts.chain.empty() && facts.chain[0].sandboxID == place.appID)
      return {pid, facts.chain[0].startTime};
  }
  return {};
}

ProcessID SandboxProcesses::find(const AppProperties& stream, const AppProperties& client) {
  const Place place{std::string(property(stream, client, "pipewire.access.portal.app_id")),
                    toPID(property(stream, client, "application.process.id"))};
  if (place.appID.empty() || place.inside <= 0) return 0;
  Found& found = found_[place];
  const ProcessFacts facts = readProcessFacts(found.pid, procFolder_);
  const bool isStillThere = !facts.chain.empty() && facts.chain[0].startTime == found.startTime;
  if (!isStillThere) found = search(place);
  const ProcessID pid = found.pid;
  if (pid == 0) found_.erase(place);
  return pid;
}

}  // namespace sonmere
