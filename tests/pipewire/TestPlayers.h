#pragma once

#include <string>
#include <vector>

namespace sonmere {

// Programs of the desktop that play a file.
struct Player {
  std::string name;
  std::vector<std::string> command;
};
inline const std::vector<Player>& players() {
  static const std::vector<Player> all = {
      {"pw-play", {"pw-play"}},
      {"paplay", {"paplay"}},
      {"mpv", {"mpv", "--no-config", "--no-video", "--really-quiet", "--ao=pulse"}},
      {"ffmpeg", {"ffmpeg", "-nostdin", "-loglevel", "error", "-re", "-i"}},
  };
  return all;
}
// Those that wait for the end of what they play.
inline std::vector<Player> wholePlayers() { return {players().begin(), players().begin() + 3}; }
inline std::vector<std::string> playing(const Player& player, const std::string& file) {
  std::vector<std::string> command = player.command;
  command.push_back(file);
  if (player.name == "ffmpeg") command.insert(command.end(), {"-c:a", "pcm_f32le", "-f", "pulse", "x"});
  return command;
}

}  // namespace sonmere
