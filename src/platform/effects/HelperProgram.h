#pragma once

#include <sys/types.h>

#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "base/Error.h"
#include "base/FileDescriptor.h"
#include "base/Time.h"

namespace sonmere {

// The program that plug-ins run in: one process to ask it something, and one for each chain. Threads: any
// that may wait.
class HelperProgram {
 public:
  // The numbers under which a process finds the chain's memory and the socket to its parent.
  static constexpr int kMemoryNumber = 3, kSocketNumber = 4;
  // The longest answer.
  static constexpr std::size_t kMostBytes = 64u << 20;

  // Empty: the one beside this program.
  explicit HelperProgram(std::string path = {});

  struct Process {
    pid_t pid = 0;
    FileDescriptor socket;
  };
  // `memory` may be -1.
  Outcome<Process> start(const std::vector<std::string>& arguments, int memory) const;

  // What became of a question.
  struct Answer {
    std::string text;
    std::string
        end;  // how the process came to a bad end: "crashes (signal 11)", "hangs"; empty for a good one
  };
  Outcome<Answer> ask(const std::vector<std::string>& arguments, Duration limit);
  // Whoever waits for an answer has it now, and whoever asks from here on too: a bad one.
  void stopAsking();

  // Ends the process, which may have ended already, and says how it did: "has crashed (signal 11)".
  static std::string end(pid_t pid);

 private:
  // False when nothing is to be asked any more.
  bool noteAsked(pid_t pid);
  void forgetAsked(pid_t pid);

  const std::string path_;
  std::mutex mutex_;
  std::set<pid_t> asked_;
  bool isOver_ = false;
};

}  // namespace sonmere
