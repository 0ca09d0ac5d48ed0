#include "app/MachineCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "audio/device/BusTable.h"
#include "audio/device/CoreAudioUtils.h"

namespace sonmere {

namespace {

using Verdict = MachineFinding::Verdict;
using Finding = std::optional<MachineFinding>;

constexpr const char* kRestart = "systemctl --user restart pipewire wireplumber pipewire-pulse";
constexpr int kLargeQuantum = 2048;
// Less than a render may take when the machine is busy, by far.
constexpr std::int64_t kShortRealtime = 10'000;  // microseconds

Finding checkUser(const MachineFacts& m) {
  if (m.isRoot)
    return {{"user", Verdict::wrong, "you are root, and the sound of a session belongs to its user",
             "log in as the user whose sound it is"}};
  if (!m.hasHome) return {{"user", Verdict::wrong, "you have no home folder", "export HOME=/your/home"}};
  if (m.runtimeFolder.empty())
    return {{"user", Verdict::wrong,
             "your session has no folder (XDG_RUNTIME_DIR), where the server is found",
             "log in on a desktop, or: export XDG_RUNTIME_DIR=/run/user/$(id -u)"}};
  return {{"user", Verdict::right, "your session has its folder, " + m.runtimeFolder, ""}};
}

Finding checkServer(const MachineFacts& m) {
  if (m.serverAnswers)
    return {{"server", Verdict::right, "the audio server answers, PipeWire " + m.serverVersion, ""}};
  if (m.programOfServer.empty())
    return {{"server", Verdict::wrong, "the audio server is not installed",
             "sudo apt install pipewire wireplumber pipewire-pulse"}};
  return {{"server", Verdict::wrong, "the audio server does not answer: " + m.serverReason,
           "systemctl --user enable --now pipewire wireplumber pipewire-pulse"}};
}

Finding checkOtherServer(const MachineFacts& m) {
  if (m.otherServer.empty()) return {};
  return {{"other-server", Verdict::wrong,
           m.otherServer + " runs too; programs that play through it are out of reach",
           fmt::format("systemctl --user disable --now {0}.socket {0}.service", m.otherServer)}};
}

Finding checkManager(const MachineFacts& m) {
  if (!m.serverAnswers) return {};
  if (m.hasSessionManager) return {{"session-manager", Verdict::right, "the session manager runs", ""}};
  if (m.programOfManager.empty())
    return {{"session-manager", Verdict::wrong, "there is no session manager, and nothing connects programs",
             "sudo apt install wireplumber"}};
  return {{"session-manager", Verdict::wrong,
           "the session manager does not run, and nothing connects programs", kRestart}};
}

Finding checkDefault(const MachineFacts& m) {
  if (!m.serverAnswers || !m.hasSessionManager) return {};
  if (m.defaultOutput.empty())
    return {{"default", Verdict::wrong, "there is no default output",
             "connect a device; wpctl status lists them"}};
  if (!m.isDefaultThere)
    return {{"default", Verdict::wrong, fmt::format("the default output, {}, is not there", m.defaultOutput),
             "wpctl clear-default"}};
  if (CoreAudioUtils::isOwnDeviceUID(m.defaultOutput))
    return {
        {"default", Verdict::improvable,
         fmt::format("the default output is {}, one of Sonmere's own: nothing is heard of what plays there",
                     m.defaultLabel),
         "wpctl status lists the devices, wpctl set-default NUMBER chooses another"}};
  return {{"default", Verdict::right, "the default output is " + m.defaultLabel, ""}};
}

MachineFinding onDisk(const MachineFacts& m) {
  using State = DriverOnDisk::State;
  switch (m.driver.state) {
    case State::absent:
      return {"driver", Verdict::wrong, "the virtual devices are not installed", "sonmere driver install"};
    case State::partial:
      return {"driver", Verdict::wrong, "some files of the virtual devices are missing",
              "sonmere driver repair"};
    case State::old:
      return {"driver", Verdict::improvable,
              fmt::format("the virtual devices are those of Sonmere {}, this is {}",
                          m.driver.installedVersion.empty() ? "another version" : m.driver.installedVersion,
                          m.driver.bundledVersion),
              "sonmere driver repair"};
    case State::edited:
      return {"driver", Verdict::improvable, "files of the virtual devices were edited",
              "sonmere driver repair keeps the edited ones beside"};
    case State::whole:
      break;
  }
  return {"driver", Verdict::right, "the virtual devices are installed in " + m.driver.place, ""};
}

Finding checkDriver(const MachineFacts& m) {
  if (m.driver.problem) return {{"driver", Verdict::wrong, *m.driver.problem, ""}};
  return onDisk(m);
}

Finding checkDevices(const MachineFacts& m) {
  if (!m.serverAnswers || m.driver.state == DriverOnDisk::State::absent) return {};
  if (m.driverDevices == kBusCount)
    return {{"devices", Verdict::right, "the server has all ten virtual devices", ""}};
  return {{"devices", Verdict::wrong,
           fmt::format("the server has {} of the ten virtual devices", m.driverDevices),
           std::string("sonmere driver install, or, which stops all sound for a moment: ") + kRestart}};
}

Finding checkQuantum(const MachineFacts& m) {
  if (m.quantum <= 0 || m.sampleRate <= 0) return {};
  const double ms = 1000.0 * m.quantum / m.sampleRate;
  const std::string text = fmt::format("the server's buffers are {} frames, {:.0f} ms", m.quantum, ms);
  if (m.quantum <= kLargeQuantum) return {{"quantum", Verdict::right, text, ""}};
  return {{"quantum", Verdict::improvable, text + ", which is heard as delay",
           "pw-metadata -n settings 0 clock.force-quantum 0"}};
}

Finding checkRealtime(const MachineFacts& m) {
  const bool mayByItself = m.realtimePriority.soft != 0;
  if (mayByItself || m.hasRealtimeHelper)
    return {{"realtime", Verdict::right,
             mayByItself ? "your programs may take real-time priority"
                         : "a service gives your programs real-time priority",
             ""}};
  const bool isInGroup = std::ranges::find(m.groups, "pipewire") != m.groups.end();
  return {{"realtime", Verdict::improvable,
           "nothing gives audio threads real-time priority, and a busy machine will crackle",
           isInGroup ? "sudo apt install rtkit, and log in again"
                     : "sudo apt install rtkit, or: sudo usermod -aG pipewire $USER; then log in again"}};
}

Finding checkRealtimeTime(const MachineFacts& m) {
  const std::int64_t hard = m.realtimeTime.hard;
  if (hard == MachineFacts::kUnlimited || hard >= kShortRealtime)
    return {
        {"realtime-time", Verdict::right, "the limit of real-time work without a pause is no danger", ""}};
  return {
      {"realtime-time", Verdict::wrong,
       fmt::format("the system ends programs whose audio threads work for {} microseconds without a pause",
                   hard),
       "set \"rttime\" to unlimited in /etc/security/limits.d, and log in again; until then audio threads "
       "run without real-time priority"}};
}

Finding checkLeftovers(const MachineFacts& m) {
  if (m.leftovers.empty()) return {};
  std::string command = "rm -r";
  for (const std::string& path : m.leftovers) command += " '" + path + "'";
  return {{"leftovers", Verdict::improvable, "a run that ended badly has left files", command}};
}

Finding checkProgram(const MachineFacts& m) {
  if (m.isProgramRunning) return {{"program", Verdict::right, "Sonmere runs", ""}};
  return {
      {"program", Verdict::improvable, "Sonmere does not run", "sonmere service enable, or: sonmere run"}};
}

}  // namespace

std::vector<MachineFinding> checkMachine(const MachineFacts& machine) {
  std::vector<MachineFinding> all;
  for (const auto check :
       {checkUser, checkServer, checkOtherServer, checkManager, checkDefault, checkDriver, checkDevices,
        checkQuantum, checkRealtime, checkRealtimeTime, checkLeftovers, checkProgram})
    if (auto finding = check(machine)) all.push_back(std::move(*finding));
  return all;
}

}  // namespace sonmere
