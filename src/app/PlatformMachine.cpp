#include "app/PlatformMachine.h"

#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "app/InstanceLock.h"
#include "app/PlatformDriver.h"
#include "app/PlatformFolders.h"
#include "base/AtomicFile.h"
#include "platform/desktop/ChildProcess.h"
#include "platform/desktop/DesktopFolders.h"
#include "platform/pipewire/ServerSnapshot.h"

namespace sonmere {

namespace {

namespace fs = std::filesystem;

constexpr Duration kServerTimeout = std::chrono::seconds(2);
constexpr const char* kHelperService =
    "/usr/share/dbus-1/system-services/org.freedesktop.RealtimeKit1.service";

MachineFacts::Limit limitOf(__rlimit_resource kind) {
  rlimit limit{};
  if (::getrlimit(kind, &limit) != 0) return {};
  const auto value = [](rlim_t each) {
    return each == RLIM_INFINITY ? MachineFacts::kUnlimited : std::int64_t(each);
  };
  return {value(limit.rlim_cur), value(limit.rlim_max)};
}

std::vector<std::string> groupsOfUser() {
  std::vector<gid_t> ids(std::size_t(std::max(0, ::getgroups(0, nullptr))));
  if (::getgroups(int(ids.size()), ids.data()) < 0) return {};
  std::vector<std::string> names;
  for (const gid_t id : ids)
    if (const group* const entry = ::getgrgid(id)) names.emplace_back(entry->gr_name);
  return names;
}

// Whether a program of that name runs for this user.
bool isRunning(const std::string& name) {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator("/proc", ignored)) {
    const auto command = readWholeFile(entry.path() / "comm");
    if (command && *command == name + "\n" &&
        fs::status(entry.path(), ignored).type() != fs::file_type::none) {
      struct stat info {};
      if (::stat(entry.path().c_str(), &info) == 0 && info.st_uid == ::geteuid()) return true;
    }
  }
  return false;
}

double numberIn(const std::map<std::string, std::string>& settings, const char* forced, const char* usual) {
  const auto read = [&](const char* key) {
    const auto found = settings.find(key);
    double value = 0;
    if (found != settings.end())
      std::from_chars(found->second.data(), found->second.data() + found->second.size(), value);
    return value;
  };
  const double value = read(forced);
  return value > 0 ? value : read(usual);
}

void addServer(MachineFacts& machine) {
  const ServerSnapshot server = takeServerSnapshot("", kServerTimeout);
  machine.serverAnswers = server.answers;
  machine.serverReason = server.reason;
  machine.serverVersion = server.version;
  // The one that knows a default is the session's.
  machine.hasSessionManager = std::ranges::any_of(server.clients, [](const std::string& name) {
    return name.starts_with("WirePlumber") || name == "pipewire-media-session";
  });
  const auto found = server.defaults.find("default.audio.sink");
  if (found != server.defaults.end()) machine.defaultOutput = found->second;
  const auto node = std::ranges::find(server.nodes, machine.defaultOutput, &ServerSnapshot::Node::name);
  machine.isDefaultThere = node != server.nodes.end();
  machine.defaultLabel =
      machine.isDefaultThere && !node->description.empty() ? node->description : machine.defaultOutput;
  machine.sampleRate = numberIn(server.settings, "clock.force-rate", "clock.rate");
  machine.quantum = int(numberIn(server.settings, "clock.force-quantum", "clock.quantum"));
}

// Sockets and files whose owner is gone.
std::vector<std::string> leftoversOf(const MachineFacts& machine) {
  std::vector<std::string> found;
  std::error_code ignored;
  const fs::path socket = fs::path(userControlFolder()) / "control.sock";
  if (!machine.isProgramRunning && fs::exists(socket, ignored)) found.push_back(socket.string());
  for (const char* folder : {"pipewire/pipewire.conf.d", "wireplumber/main.lua.d", "wireplumber/scripts",
                             "wireplumber/wireplumber.conf.d"})
    for (const auto& entry : fs::directory_iterator(fs::path(machine.driver.place) / folder, ignored))
      if (const std::string name = entry.path().filename();
          name.ends_with(".sonmere-new") || name.ends_with(".sonmere-old"))
        found.push_back(entry.path().string());
  return found;
}

}  // namespace

MachineFacts thisMachine() {
  const DesktopFolders folders = DesktopFolders::ofUser();
  MachineFacts machine;
  machine.isRoot = ::geteuid() == 0;
  machine.hasHome = folders.config != "/.config";
  machine.runtimeFolder = folders.runtime;
  machine.programOfServer = findInPath("pipewire");
  machine.programOfManager = findInPath("wireplumber");
  if (isRunning("pulseaudio")) machine.otherServer = "pulseaudio";
  machine.driver = userDriver()->look();
  addServer(machine);
  machine.driverDevices = driverDevices().devices;
  machine.realtimePriority = limitOf(RLIMIT_RTPRIO);
  machine.realtimeTime = limitOf(RLIMIT_RTTIME);
  std::error_code ignored;
  machine.hasRealtimeHelper = fs::exists(kHelperService, ignored);
  machine.groups = groupsOfUser();
  machine.isProgramRunning = InstanceLock::isHeld(userControlFolder());
  machine.leftovers = leftoversOf(machine);
  return machine;
}

}  // namespace sonmere
