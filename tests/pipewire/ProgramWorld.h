#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "PipeWireWorld.h"

namespace sonmere {

// The test looks on; the program under test is a process of its own.
struct ProgramWorld : PipeWireWorld {
  ProgramWorld() : PipeWireWorld(256) {}

  std::vector<std::string> command(const std::vector<std::string>& arguments) const {
    std::vector<std::string> whole = {"env", "SONMERE_SETTINGS=" + session.file("settings.json"),
                                      "XDG_STATE_HOME=" + session.file("state"),
                                      "SONMERE_RESOURCES=" SONMERE_SOURCE_DIR "/resources", SONMERE_PROGRAM};
    whole.insert(whole.end(), arguments.begin(), arguments.end());
    return whole;
  }
  // Per-app volume is on, and has taken pw-play into its hands: the app itself is silent on every device.
  void startMixer() {
    KnownSignal(120).write(session.file("signal.wav"));
    player = session.launch({"pw-play", session.file("signal.wav")});
    ASSERT_TRUE(until([&] { return isHome(); }));
    session.run(command({"settings", "set", "sonmere.volumeMixer.isEnabled", "true"}));
    program = session.launch(command({"run", "--platform", "pipewire", "--no-control", "--for", "200"}));
    ASSERT_TRUE(until([&] { return isCaptured(); }));
  }
  bool isCaptured() { return outputsOf("pw-play").empty(); }
  bool isHome() { return outputsOf("pw-play") == std::vector<std::string>{"fake.speaker"}; }
  bool hasLeftTargets() { return session.run({"pw-metadata"}).contains("target.object"); }

  SessionProgram player, program;
};

}  // namespace sonmere
