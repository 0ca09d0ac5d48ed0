#include "cli/DriverCommand.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "app/PlatformDriver.h"
#include "app/PlatformFolders.h"
#include "audio/device/BusTable.h"
#include "cli/ExitStatus.h"
#include "cli/JSONMembers.h"
#include "cli/JSONOutput.h"
#include "cli/RemoteCall.h"
#include "cli/RunningProgram.h"
#include "cli/Tell.h"
#include "control/ControlClient.h"

namespace sonmere {

namespace {

struct Arguments {
  bool json = false;
  bool mayRestart = false;
  double rate = 0;
};

using Given = std::shared_ptr<Arguments>;

// The running program looks again, and says what it then knows; null without one.
ControlJSON programsView() {
  auto client = ControlClient::connect(userControlFolder());
  if (!client) return nullptr;
  auto answer = client->call("driver.refresh");
  return answer ? std::move(*answer) : ControlJSON(nullptr);
}

std::string statusText(const DriverOnDisk& disk, const DriverDevices& devices, const ControlJSON& program) {
  if (program.is_object()) return textOf(program, "status");
  if (devices.devices == kBusCount) return "Installed • Idle";
  return disk.state == DriverOnDisk::State::absent ? "Driver Not Installed" : "Installed • Not Loaded";
}

std::string adviceFor(const DriverOnDisk& disk, const DriverDevices& devices) {
  using State = DriverOnDisk::State;
  if (disk.problem) return *disk.problem;
  if (disk.state == State::absent) return "sonmere driver install";
  if (disk.state != State::whole) return "sonmere driver repair";
  if (!devices.serverAnswers) return "the audio server does not answer: " + devices.reason;
  return devices.devices == kBusCount ? "" : "sonmere driver repair";
}

int showStatus(bool json) {
  const DriverOnDisk disk = userDriver()->look();
  const DriverDevices devices = driverDevices();
  const ControlJSON program = programsView();
  const std::string status = statusText(disk, devices, program), advice = adviceFor(disk, devices);
  if (json) {
    OutputJSON object{{"status", status},
                      {"advice", advice},
                      {"files", stateText(disk.state)},
                      {"place", disk.place},
                      {"installedVersion", disk.installedVersion},
                      {"bundledVersion", disk.bundledVersion},
                      {"serverAnswers", devices.serverAnswers},
                      {"devices", devices.devices},
                      {"sampleRate", program.is_object() ? program.at("sampleRate") : ControlJSON(nullptr)}};
    printJSON(object);
  } else {
    fmt::print("{}\nFiles    {} in {}\nDevices  {} of {} in the running server\n", status,
               stateText(disk.state), printable(disk.place), devices.devices, kBusCount);
    if (program.is_object()) fmt::print("Rate     {:g} Hz\n", number(program, "sampleRate"));
    if (!advice.empty()) fmt::print("{}\n", printable(advice));
  }
  if (disk.state == DriverOnDisk::State::absent || disk.problem) return kExitBroken;
  return devices.devices == kBusCount && disk.state == DriverOnDisk::State::whole ? kExitSuccess
                                                                                  : kExitDegraded;
}

void showNotes(const DriverChange& change) {
  for (const std::string& note : change.notes) tell("driver", kExitSuccess, note);
}

// In the running server too: beside what plays where that can be had, by a restart where the user wants one.
int bringUp(const Given& a) {
  if (const DriverDevices now = driverDevices(); !now.serverAnswers || now.devices == kBusCount)
    return kExitSuccess;
  const auto done = a->mayRestart ? restartAudioServices() : loadDriverDevices();
  if (done) return kExitSuccess;
  return tell(
      "driver", kExitFailure,
      done.error().description + "; the next start of the audio server brings the devices: " + kRestartAudio);
}

int install(const Given& a) {
  if (const auto foreign = foreignHomeText()) return tell("driver", kExitBadInput, *foreign);
  const auto change = userDriver()->install();
  if (!change) return tell("driver", kExitFailure, change.error().description);
  showNotes(*change);
  if (const int status = bringUp(a); status != kExitSuccess) return status;
  const int status = showStatus(a->json);
  return status == kExitDegraded && !driverDevices().serverAnswers ? int(kExitSuccess) : status;
}

int remove(const Given& a) {
  if (const auto foreign = foreignHomeText()) return tell("driver", kExitBadInput, *foreign);
  const auto change = userDriver()->remove();
  if (!change) return tell("driver", kExitFailure, change.error().description);
  showNotes(*change);
  unloadDriverDevices();
  if (a->mayRestart)
    if (const auto done = restartAudioServices(); !done)
      return tell("driver", kExitFailure, done.error().description);
  const DriverDevices left = driverDevices();
  if (left.devices > 0)
    tell("driver", kExitSuccess,
         fmt::format("the running server keeps the devices until its end; to end them now: {}",
                     kRestartAudio));
  (void)programsView();
  if (a->json)
    printJSON({{"removed", change->isChanged}, {"devices", left.devices}});
  else
    fmt::print("{}\n",
               change->isChanged ? "The virtual devices are removed." : "There was nothing to remove.");
  return kExitSuccess;
}

int setRate(const Given& a) {
  return RemoteCall("driver rate").ask("driver.rate", {{"rate", a->rate}}, [&](const ControlJSON& driver) {
    a->json ? printJSON(driver)
            : fmt::print("{}, {:g} Hz\n", textOf(driver, "status"), number(driver, "sampleRate"));
  });
}

}  // namespace

void addDriverCommands(CLI::App& app, std::function<int()>& run) {
  const auto a = std::make_shared<Arguments>();
  CLI::App* driver =
      app.add_subcommand("driver", "The ten virtual devices: install them, look, take them away");
  driver->require_subcommand(1);
  const auto add = [&](const char* name, const char* help, std::function<int(const Given&)> work) {
    CLI::App* command = driver->add_subcommand(name, help);
    command->add_flag("--json", a->json, "Print JSON");
    command->callback([a, &run, work = std::move(work)] { run = [a, work] { return work(a); }; });
    return command;
  };
  const auto addRestart = [&](CLI::App* command) {
    command->add_flag("--restart", a->mayRestart,
                      "Restart the audio server, which stops all sound for a moment");
  };
  add("status",
      "Whether they are installed, of this version, and in the running server; the exit status is 3 "
      "when something is to be mended, 4 when they are not installed",
      [](const Given& given) { return showStatus(given->json); });
  addRestart(add("install", "Install them, and load them into the running server", install));
  addRestart(add("repair", "Bring old, missing and edited files to this version; edited ones are kept beside",
                 install));
  addRestart(add("remove", "Take them away", remove));
  add("rate", "The sample rate of all of them", setRate)
      ->add_option("HZ", a->rate, "44100, 48000 or 96000")
      ->required()
      ->check(CLI::IsMember({44100.0, 48000.0, 96000.0}));
}

}  // namespace sonmere
