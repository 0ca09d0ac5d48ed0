#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "platform/desktop/AppIdentity.h"

namespace sonmere {

// Finds the processes of sandboxed clients, which know only their numbers inside their sandbox. Threads: one
// at a time.
class SandboxProcesses {
 public:
  explicit SandboxProcesses(std::string procFolder = "/proc") : procFolder_(std::move(procFolder)) {}

  // The process of a stream whose streamProcessID() is 0, or 0 when there is none to be found. Searches /proc
  // once for a client, and again when the process has gone.
  ProcessID find(const AppProperties& stream, const AppProperties& client);

 private:
  struct Place {
    std::string appID;
    ProcessID inside = 0;
    auto operator<=>(const Place&) const = default;
  };
  struct Found {
    ProcessID pid = 0;
    std::uint64_t startTime = 0;
  };
  Found search(const Place& place) const;

  const std::string procFolder_;
  std::map<Place, Found> found_;
};

}  // namespace sonmere
