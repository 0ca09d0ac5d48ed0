#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/simulated/SampleSource.h"
#include "platform/simulated/SimulatedProcess.h"

namespace sonmere {

class SimulatedWorld;
class SimulatedApplications;

// A handle on a running program, with which the host acts as that program. Copies name the same program; on
// one that has quit every operation does nothing. Main thread.
class SimulatedApp {
 public:
  SimulatedApp() = default;
  SimulatedApp(std::shared_ptr<SimulatedWorld> world, SimulatedApplications* applications, ProcessID pid)
      : world_(std::move(world)), applications_(applications), pid_(pid) {}

  ProcessID pid() const { return pid_; }
  // The present process object; kAudioObjectUnknown when the process list doesn't show it.
  AudioObjectID objectID() const;

  // Plays from the next cycle of its device on, instead of what it played before.
  void play(std::unique_ptr<SampleSource> source);
  void pause();
  void resume();
  void stop();
  void quit();
  // Nothing: follows the default output. A device that isn't there is replaced by the default until it is.
  void setDevice(std::optional<std::string> uid);

  bool isRunning() const;
  bool isPlaying() const;
  // Kept from its device by a muted tap.
  bool isSilenced() const;
  // Taps that take its sound.
  std::size_t tapCount() const;

 private:
  template <class T, class Ask>
  T ask(T absent, Ask&& ask) const;
  void edit(const char* event, const std::function<void(SimulatedProcess&)>& edit);

  std::shared_ptr<SimulatedWorld> world_;
  SimulatedApplications* applications_ = nullptr;
  ProcessID pid_ = 0;
};

}  // namespace sonmere
