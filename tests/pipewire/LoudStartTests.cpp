// Apps that are held low or muted, and that begin to play in every way they can: nothing of it is louder on
// the device than it is meant to be.

#include <gtest/gtest.h>

#include <fstream>

#include "ProgramWorld.h"
#include "SpeakerEar.h"
#include "TestPlayers.h"

namespace sonmere {

namespace {

// Three apps at a tenth of half of full scale together, or a sound that is converted, stay below; one that is
// as loud as it plays does not.
constexpr float kLoud = 0.2f;

enum class Hold { low, muted };
std::ostream& operator<<(std::ostream& out, Hold hold) {
  return out << (hold == Hold::low ? "low" : "muted");
}

struct LoudStart : testing::TestWithParam<Hold> {
  void SetUp() override {
    ASSERT_EQ(world.session.problem(), "");
    ASSERT_TRUE(world.platform.waitUntilReady(PipeWireWorld::kPatience));
    KnownSignal quiet(120, 1);
    for (float& sample : quiet.samples) sample *= 0.125f;
    quiet.write(file("quiet"));
    KnownSignal(0.25, 2).write(file("short"));
    KnownSignal(1, 3).write(file("one"));
    KnownSignal(0.25, 4).write(file("cd"), 44100);
    // Jumps five times, and ends.
    std::ofstream(world.session.file("seek.lua")) << "local jumps = 0\n"
                                                     "mp.add_periodic_timer(0.1, function()\n"
                                                     "  jumps = jumps + 1\n"
                                                     "  if jumps > 5 then mp.command('quit') else "
                                                     "mp.commandv('seek', jumps % 2 * 0.5, 'absolute') end\n"
                                                     "end)\n";
  }
  std::string file(const std::string& name) const { return world.session.file(name + ".wav"); }

  bool tell(const std::vector<std::string>& arguments) {
    return world.session.launch(world.command(arguments)).wait() == 0;
  }
  // Each player has been there once, and is held from then on.
  void holdAll() {
    ASSERT_TRUE(tell({"settings", "set", "sonmere.volumeMixer.isEnabled", "true"}));
    world.program = world.session.launch(world.command({"run", "--platform", "pipewire", "--for", "300"}));
    for (const Player& player : players()) {
      auto program = world.session.launch(playing(player, file("quiet")));
      ASSERT_TRUE(world.until([&] {
        return GetParam() == Hold::low ? tell({"volume", player.name, player.name == "ffmpeg" ? "1%" : "10%"})
                                       : tell({"mute", player.name});
      })) << player.name;
    }
    ASSERT_TRUE(world.until([&] {
      return std::ranges::all_of(
          players(), [&](const Player& player) { return world.processesOf(player.name).empty(); });
    }));
  }
  // All at once, each to its end.
  void play(const std::vector<std::vector<std::string>>& commands) {
    std::vector<SessionProgram> programs;
    for (const auto& command : commands) programs.push_back(world.session.launch(command));
    for (std::size_t i = 0; i < programs.size(); ++i)
      EXPECT_EQ(programs[i].wait(), 0) << commands[i][0] << "\n" << world.session.programLog();
  }
  std::vector<std::string> mpv(const std::string& output, const std::vector<std::string>& rest) const {
    std::vector<std::string> command = {"mpv", "--no-config", "--no-video", "--really-quiet",
                                        "--ao=" + output};
    command.insert(command.end(), rest.begin(), rest.end());
    return command;
  }

  // How many streams began.
  std::size_t startsAndEnds() {
    for (int round = 0; round < 3; ++round) {
      std::vector<std::vector<std::string>> commands;
      for (const Player& player : wholePlayers()) commands.push_back(playing(player, file("short")));
      play(commands);
    }
    return 9;
  }
  std::size_t seeks() {
    const std::string script = "--script=" + world.session.file("seek.lua");
    play({mpv("pulse", {script, file("one")}), mpv("pipewire", {script, file("one")}),
          mpv("pulse", {script, file("one")})});
    return 3;
  }
  std::size_t changesOfRate() {
    play({mpv("pulse", {file("cd"), file("short"), file("cd")}),
          mpv("pipewire", {file("short"), file("cd"), file("short")}),
          {"pw-play", file("cd")}});
    return 7;
  }
  // At a hundredth: at a tenth they would be loud together.
  std::size_t twentyStreams() {
    std::vector<std::string> command = players().back().command;
    command.push_back(file("short"));
    for (int i = 0; i < 20; ++i)
      command.insert(command.end(), {"-c:a", "pcm_f32le", "-f", "pulse", std::to_string(i)});
    play({command});
    return 20;
  }
  ProgramWorld world;
};

}  // namespace

TEST_P(LoudStart, NothingIsLouderThanItIsHeld) {
  SpeakerEar speaker(world, 0.125f);
  ASSERT_TRUE(speaker.isReady);
  ASSERT_NO_FATAL_FAILURE(holdAll());
  const std::size_t starts = startsAndEnds() + seeks() + changesOfRate() + twentyStreams();
  const auto heard = speaker.heard();
  std::size_t loud = 0;
  for (std::size_t i = 0; i + 1 < heard.size(); i += 2)
    loud += std::max(std::abs(heard[i]), std::abs(heard[i + 1])) > kLoud;
  EXPECT_EQ(loud, 0u) << starts << " streams began";
}

INSTANTIATE_TEST_SUITE_P(Ways, LoudStart, testing::Values(Hold::low, Hold::muted));

}  // namespace sonmere
