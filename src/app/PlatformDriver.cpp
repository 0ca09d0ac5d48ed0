#include "app/PlatformDriver.h"

#include <fmt/format.h>
#include <signal.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <map>

#include "app/PlatformFolders.h"
#include "app/ProgramVersion.h"
#include "app/Resources.h"
#include "audio/device/BusTable.h"
#include "audio/device/CoreAudioUtils.h"
#include "base/AtomicFile.h"
#include "platform/desktop/ChildProcess.h"
#include "platform/desktop/DesktopFolders.h"
#include "platform/desktop/DriverDropIns.h"
#include "platform/pipewire/ServerSnapshot.h"

namespace sonmere {

namespace {

namespace fs = std::filesystem;

constexpr Duration kServerTimeout = std::chrono::seconds(2);
constexpr Duration kLoadTime = std::chrono::seconds(4);

// What a process needs to be a client that holds devices.
constexpr const char* kClientModules = R"(
context.spa-libs = { audio.convert.* = audioconvert/libspa-audioconvert support.* = support/libspa-support }
context.modules = [
    { name = libpipewire-module-rt args = { nice.level = -11 } flags = [ ifexists nofail ] }
    { name = libpipewire-module-protocol-native }
    { name = libpipewire-module-client-node }
    { name = libpipewire-module-adapter }
)";
constexpr const char* kModuleList = "context.modules = [";

std::string bundleFolder() {
  const auto resources = resourceFolder();
  return resources ? *resources + "/driver" : std::string();
}

fs::path heldFile() { return fs::path(userControlFolder()) / "devices.conf"; }

// Without a home the rules of the desktop lead into the root folder.
std::string configFolder() {
  std::string folder = DesktopFolders::ofUser().config;
  return folder == "/.config" ? std::string() : folder;
}

bool isDriverNode(const std::string& name) { return std::ranges::find(kBusUIDs, name) != kBusUIDs.end(); }

// The processes that hold devices: they bear the file's name.
std::vector<pid_t> holders() {
  std::vector<pid_t> found;
  std::error_code ignored;
  const std::string mark = heldFile().string();
  for (const auto& entry : fs::directory_iterator("/proc", ignored)) {
    const std::string name = entry.path().filename();
    pid_t pid = 0;
    if (std::from_chars(name.data(), name.data() + name.size(), pid).ec != std::errc()) continue;
    const auto command = readWholeFile(entry.path() / "cmdline");
    // Its words end with null characters.
    if (command && command->find('\0' + mark + '\0') != std::string::npos) found.push_back(pid);
  }
  return found;
}

// With both of their sides.
int devicesOf(const ServerSnapshot& server) {
  std::map<std::string, int> sides;
  for (const auto& node : server.nodes)
    if (isDriverNode(node.name) && (node.mediaClass == "Audio/Sink" || node.mediaClass == "Audio/Source"))
      ++sides[node.name];
  return int(std::ranges::count_if(sides, [](const auto& each) { return each.second == 2; }));
}

std::unexpected<Error> cant(std::string why) { return std::unexpected(Error{"Driver", 2, std::move(why)}); }

Outcome<void> writeHeldFile() {
  const auto devices = readWholeFile(bundleFolder() + "/pipewire.conf.d/60-sonmere.conf");
  if (!devices) return std::unexpected(devices.error());
  const auto list = devices->find(kModuleList);
  if (list == std::string::npos) return cant("the devices' description has no list of modules");
  if (auto made = createFolders(heldFile().parent_path()); !made) return made;
  return writeFileAtomically(heldFile(), kClientModules + devices->substr(list + std::strlen(kModuleList)));
}

}  // namespace

std::unique_ptr<DriverInstaller> userDriver() {
  return std::make_unique<DriverDropIns>(
      DriverDropIns::Places{bundleFolder(), configFolder(), kProgramVersion});
}

DriverDevices driverDevices() {
  const ServerSnapshot server = takeServerSnapshot("", kServerTimeout);
  return {server.answers, server.reason, devicesOf(server)};
}

Outcome<void> loadDriverDevices() {
  const std::string program = findInPath("pipewire");
  if (program.empty()) return cant("the program pipewire is not installed");
  if (auto written = writeHeldFile(); !written) return written;
  // One of a server that has ended holds nothing any more.
  for (const pid_t pid : holders()) ::kill(pid, SIGTERM);
  if (const int error = launchDetached({program, "-c", heldFile().string()}, "/"); error != 0)
    return std::unexpected(posixError(error, "start " + program));
  const ServerSnapshot then = takeServerSnapshot(
      "", kLoadTime,
      {.letsGoOf = {}, .until = [](const ServerSnapshot& server) { return devicesOf(server) == kBusCount; }});
  if (devicesOf(then) == kBusCount) return {};
  unloadDriverDevices();
  return cant("the server did not take the devices");
}

void unloadDriverDevices() {
  const auto running = holders();
  for (const pid_t pid : running) ::kill(pid, SIGTERM);
  std::error_code ignored;
  fs::remove(heldFile(), ignored);
  SnapshotWish wish{.letsGoOf = isDriverNode, .until = {}};
  if (!running.empty()) wish.until = [](const ServerSnapshot& server) { return devicesOf(server) == 0; };
  (void)takeServerSnapshot("", kServerTimeout, wish);
}

Outcome<void> restartAudioServices() {
  const ChildOutcome outcome =
      runToEnd({"systemctl", "--user", "restart", "pipewire", "wireplumber", "pipewire-pulse"}, [](pid_t) {});
  if (outcome.error == 0 && outcome.exitStatus == 0) return {};
  return cant(fmt::format("the service manager of your session could not restart the audio server: {}",
                          outcome.error ? std::strerror(outcome.error) : outcome.errorText));
}

}  // namespace sonmere
