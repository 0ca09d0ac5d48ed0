// Figures of the PipeWire platform on private sessions: PipeWireBench [SECONDS of each soak, default 60].
// Prints a table. What the machine itself loses is shown beside what it loses with routing at work.

#include <fmt/format.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "pipewire/PipeWireWorld.h"

namespace sonmere {

namespace {

constexpr int kTrack1 = 2;
const std::string kTrack1UID = "ToneFerry_UID_Track_1";

std::string firstLine(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

double processorSeconds(pid_t pid) {
  const std::string stat = firstLine(fmt::format("/proc/{}/stat", pid));
  std::istringstream fields(stat.substr(stat.rfind(')') + 2));
  std::string skipped;
  for (int i = 0; i < 11; ++i) fields >> skipped;
  double user = 0, system = 0;
  fields >> user >> system;
  return (user + system) / double(sysconf(_SC_CLK_TCK));
}

// Of all threads: how often one has gone to sleep and was woken again.
long wakeUps(pid_t pid) {
  long sum = 0;
  for (const auto& task : std::filesystem::directory_iterator(fmt::format("/proc/{}/task", pid))) {
    std::ifstream file(task.path() / "status");
    for (std::string line; std::getline(file, line);)
      if (line.starts_with("voluntary_ctxt_switches:")) sum += std::stol(line.substr(24));
  }
  return sum;
}

void pass(PipeWireWorld& world, double seconds) {
  const Duration end = world.runtime.uptime() + fromSeconds(seconds);
  world.until([&] { return world.runtime.uptime() >= end; });
  while (world.runtime.uptime() < end) world.pump();
}

// An app plays for that long, routed or straight into the Track; what a recorder of the Track misses.
Match soak(int quantum, double seconds, bool isRouted) {
  PipeWireWorld world(quantum);
  if (!world.start()) return {};
  const KnownSignal signal(seconds + 10);
  signal.write(world.session.file("signal.wav"));
  std::vector<std::string> play = {"pw-play", world.session.file("signal.wav")};
  if (!isRouted) play.insert(play.begin() + 1, {"--target", kTrack1UID});
  auto player = world.session.launch(play);
  if (isRouted && !world.route("pw-play", kTrack1)) return {};
  pass(world, 1);
  auto recorder = world.session.launch(
      {"pw-record", "--target", kTrack1UID, "--format", "f32", world.session.file("track.wav")});
  pass(world, seconds);
  recorder.signal(SIGTERM);
  recorder.wait();
  return findSignal(readSamples(world.session.file("track.wav")), signal.samples);
}

void benchSoak(double seconds) {
  for (const int quantum : {128, 256, 1024})
    for (const bool isRouted : {false, true}) {
      const Match match = soak(quantum, seconds, isRouted);
      fmt::print("quantum {:4}  {}  {:6.2f} s equal, {} gaps, {} frames missing\n", quantum,
                 isRouted ? "routed " : "no work", double(match.length) / 96000, match.gaps,
                 match.missing / 2);
      std::fflush(stdout);
    }
}

// From the first answer of a server that was killed until the app is captured again.
void benchRestart() {
  PipeWireWorld world(256);
  if (!world.start()) return;
  KnownSignal(120).write(world.session.file("signal.wav"));
  const std::vector<std::string> play = {"pw-play", world.session.file("signal.wav")};
  auto player = world.session.launch(play);
  world.route("pw-play", kTrack1);
  int back = 0;
  double longest = 0;
  for (int round = 0; round < 20; ++round) {
    world.session.control("kill", "pipewire");
    player.end();
    world.until([&] { return world.engine->activeTaps().empty() || world.logged("has gone"); });
    const auto before = world.engine->tapOf("pw-play");
    world.session.control("restart");
    world.until([&] { return world.hardware().devices().has_value(); });
    const Duration answered = world.runtime.uptime();
    player = world.session.launch(play);
    const bool isBack = world.until([&] {
      const auto tap = world.engine->tapOf("pw-play");
      return tap && tap != before && tap->callbackCount > 0;
    });
    const double seconds = toSeconds(world.runtime.uptime() - answered);
    back += isBack && seconds < 2;
    longest = std::max(longest, seconds);
  }
  fmt::print("restart of the server: {} of 20 routes back within 2 s, the slowest after {:.2f} s\n", back,
             longest);
}

void benchFreeze() {
  PipeWireWorld world(256);
  if (!world.start()) return;
  KnownSignal(60).write(world.session.file("signal.wav"));
  auto player = world.session.launch({"pw-play", world.session.file("signal.wav")});
  world.route("pw-play", kTrack1);
  pass(world, 1);
  world.session.control("freeze");
  const Duration frozen = world.runtime.uptime();
  world.untilLogged("has stopped answering");
  fmt::print("freeze of the server: noticed after {:.2f} s\n", toSeconds(world.runtime.uptime() - frozen));
  world.session.control("thaw");
}

// This process alone: with 32 apps tapped, with nothing playing, and with nothing routed.
void benchLoad() {
  PipeWireWorld world(256);
  if (!world.start()) return;
  const auto measure = [&](const char* what, double seconds) {
    pass(world, 1);
    const double processor = processorSeconds(getpid());
    const long wakes = wakeUps(getpid());
    // The bench itself sleeps meanwhile: the main queue has nothing to do.
    ::sleep(unsigned(seconds));
    fmt::print("{}: {:.1f} % of a core, {:.1f} wake-ups a second\n", what,
               (processorSeconds(getpid()) - processor) / seconds * 100,
               double(wakeUps(getpid()) - wakes) / seconds);
  };
  measure("nothing routed, nothing plays", 5);
  KnownSignal(120).write(world.session.file("signal.wav"));
  std::vector<SessionProgram> players;
  std::vector<std::string> names;
  for (int i = 0; i < 32; ++i) {
    // A link of its own makes each a family of its own.
    names.push_back(fmt::format("player-{}", i));
    const std::string link = world.session.file(names.back());
    if (symlink("/usr/bin/pw-cat", link.c_str()) != 0) return;
    players.push_back(world.session.launch({link, "--playback", world.session.file("signal.wav")}));
  }
  int routed = 0;
  for (std::size_t i = 0; i < names.size(); ++i) routed += world.route(names[i], 2 + int(i) % 8);
  measure(fmt::format("{} apps routed, quantum 256", routed).c_str(), 10);
  players.clear();
  world.until([&] { return world.engine->activeTaps().empty(); });
  measure("all of them ended", 5);
}

}  // namespace
}  // namespace sonmere

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::atof(argv[1]) : 60;
  sonmere::benchLoad();
  sonmere::benchFreeze();
  sonmere::benchRestart();
  if (seconds > 0) sonmere::benchSoak(seconds);
}
