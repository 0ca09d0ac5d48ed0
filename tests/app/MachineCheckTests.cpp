#include "app/MachineCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

namespace sonmere {
namespace {

using Verdict = MachineFinding::Verdict;

// One on which all is well.
MachineFacts goodMachine() {
  MachineFacts machine;
  machine.runtimeFolder = "/run/user/1000";
  machine.programOfServer = machine.programOfManager = "/usr/bin/program";
  machine.serverAnswers = machine.hasSessionManager = true;
  machine.serverVersion = "0.3.65";
  machine.defaultOutput = "alsa_output.pci";
  machine.defaultLabel = "Speakers";
  machine.sampleRate = 48000;
  machine.quantum = 1024;
  machine.driver.state = DriverOnDisk::State::whole;
  machine.driver.place = "/home/user/.config";
  machine.driverDevices = 10;
  machine.hasRealtimeHelper = true;
  machine.isProgramRunning = true;
  return machine;
}

TEST(MachineCheck, OnAGoodMachineAllIsRightAndNothingIsToBeDone) {
  const auto findings = checkMachine(goodMachine());
  EXPECT_GE(findings.size(), 9u);
  for (const MachineFinding& each : findings) {
    EXPECT_EQ(each.verdict, Verdict::right) << each.text;
    EXPECT_EQ(each.command, "") << each.text;
  }
}

struct Trouble {
  const char* id;
  Verdict verdict;
  const char* command;  // a part of it
  std::function<void(MachineFacts&)> make;
};

TEST(MachineCheck, EachTroubleIsFoundAloneWithTheCommandThatMendsIt) {
  using State = DriverOnDisk::State;
  const Trouble troubles[] = {
      {"user", Verdict::wrong, "log in", [](auto& m) { m.isRoot = true; }},
      {"user", Verdict::wrong, "export HOME", [](auto& m) { m.hasHome = false; }},
      {"user", Verdict::wrong, "XDG_RUNTIME_DIR", [](auto& m) { m.runtimeFolder = ""; }},
      {"other-server", Verdict::wrong, "disable --now pulseaudio",
       [](auto& m) { m.otherServer = "pulseaudio"; }},
      {"default", Verdict::wrong, "connect a device", [](auto& m) { m.defaultOutput = ""; }},
      {"default", Verdict::wrong, "clear-default", [](auto& m) { m.isDefaultThere = false; }},
      {"default", Verdict::improvable, "set-default", [](auto& m) { m.defaultOutput = "ToneFerry_UID"; }},
      {"driver", Verdict::wrong, "driver repair", [](auto& m) { m.driver.state = State::partial; }},
      {"driver", Verdict::improvable, "driver repair", [](auto& m) { m.driver.state = State::old; }},
      {"driver", Verdict::improvable, "keeps the edited", [](auto& m) { m.driver.state = State::edited; }},
      {"driver", Verdict::wrong, "", [](auto& m) { m.driver.problem = "is a symbolic link"; }},
      {"devices", Verdict::wrong, "driver install", [](auto& m) { m.driverDevices = 9; }},
      {"quantum", Verdict::improvable, "force-quantum", [](auto& m) { m.quantum = 8192; }},
      {"realtime", Verdict::improvable, "rtkit", [](auto& m) { m.hasRealtimeHelper = false; }},
      {"realtime-time", Verdict::wrong, "rttime",
       [](auto& m) {
         m.realtimeTime = {0, 0};
       }},
      {"leftovers", Verdict::improvable, "rm -r '/a b'", [](auto& m) { m.leftovers = {"/a b"}; }},
      {"program", Verdict::improvable, "sonmere run", [](auto& m) { m.isProgramRunning = false; }}};
  for (const Trouble& trouble : troubles) {
    MachineFacts machine = goodMachine();
    trouble.make(machine);
    int wrong = 0;
    for (const MachineFinding& each : checkMachine(machine)) {
      if (each.verdict == Verdict::right) continue;
      ++wrong;
      EXPECT_EQ(each.id, trouble.id) << each.text;
      EXPECT_EQ(each.verdict, trouble.verdict) << each.text;
      EXPECT_NE(each.command.find(trouble.command), std::string::npos) << each.command;
    }
    EXPECT_EQ(wrong, 1) << trouble.id << " " << trouble.command;
  }
}

// What can't be told is not guessed, and the way out is that of the first thing that is missing.
TEST(MachineCheck, ANewMachineIsToldWhatToInstallInOrder) {
  MachineFacts machine = goodMachine();
  machine.serverAnswers = machine.hasSessionManager = false;
  machine.programOfServer = machine.programOfManager = "";
  machine.driver.state = DriverOnDisk::State::absent;
  machine.driverDevices = machine.quantum = 0;
  std::vector<std::string> wrong;
  for (const MachineFinding& each : checkMachine(machine))
    if (each.verdict == Verdict::wrong) wrong.push_back(each.id + ": " + each.command);
  EXPECT_EQ(wrong, (std::vector<std::string>{"server: sudo apt install pipewire wireplumber pipewire-pulse",
                                             "driver: sonmere driver install"}));
  machine.programOfServer = "/usr/bin/pipewire";
  EXPECT_NE(checkMachine(machine)[1].command.find("enable --now pipewire"), std::string::npos);
  machine.serverAnswers = true;
  EXPECT_NE(checkMachine(machine)[2].command.find("apt install wireplumber"), std::string::npos);
  machine.programOfManager = "/usr/bin/wireplumber";
  EXPECT_NE(checkMachine(machine)[2].command.find("restart"), std::string::npos);
}

// The limits of a user who may take the priority without help.
TEST(MachineCheck, RightsOfTheUsersOwnReplaceTheHelper) {
  MachineFacts machine = goodMachine();
  machine.hasRealtimeHelper = false;
  machine.realtimePriority = {95, 95};
  for (const MachineFinding& each : checkMachine(machine))
    EXPECT_EQ(each.verdict, Verdict::right) << each.text;
}

}  // namespace
}  // namespace sonmere
