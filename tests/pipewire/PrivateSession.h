#pragma once

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

#include "support/TemporaryFolder.h"

namespace sonmere {

// A program of the session; ended with the object.
class SessionProgram {
 public:
  SessionProgram() = default;
  explicit SessionProgram(pid_t pid) : pid_(pid) {}
  SessionProgram(SessionProgram&& other) noexcept : pid_(std::exchange(other.pid_, 0)) {}
  SessionProgram& operator=(SessionProgram&& other) noexcept {
    std::swap(pid_, other.pid_);
    return *this;
  }
  ~SessionProgram() { end(); }

  pid_t pid() const { return pid_; }
  void signal(int number) const;
  // Waits for its own end; its exit status.
  int wait();
  // Asks it to end, and waits.
  void end();

 private:
  pid_t pid_ = 0;
};

// A PipeWire server with session manager and PulseAudio service of its own, without hardware: started with
// the object, ended with it, and also when this test program crashes. At its end the session manager must be
// the process that it was at the start: one that has died on the way fails the test.
class PrivateSession {
 public:
  explicit PrivateSession(int quantum = 0);
  ~PrivateSession();

  // Why there is no session; empty when there is one.
  const std::string& problem() const { return problem_; }
  std::string socket() const { return file("s/run/pipewire-0"); }
  std::string file(const std::string& name) const { return folder_ / name; }

  SessionProgram launch(const std::vector<std::string>& command) const;
  // What launched programs have printed.
  std::string programLog() const;
  // Runs to the end; what it printed.
  std::string run(const std::vector<std::string>& command) const;
  // An action of the session's script: restart, bare, kill, freeze, thaw.
  bool control(const std::string& action, const std::string& argument = "");
  // Whether the session manager has lived through all that was done to the session, but for what was killed
  // on purpose.
  bool hasItsManager() const;

 private:
  pid_t runningManager() const;

  pid_t manager_ = 0;  // 0: none is expected
  TemporaryFolder folder_;
  std::string problem_;
};

}  // namespace sonmere
