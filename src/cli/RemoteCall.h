#pragma once

#include <functional>
#include <string>

#include "control/ControlClient.h"

namespace sonmere {

// One command's talk with the program that runs. What goes wrong is told on standard error, in one line that
// begins with the command's name. Main thread.
class RemoteCall {
 public:
  explicit RemoteCall(std::string command) : command_(std::move(command)) {}

  // Connects, asks, and hands the result to `show`; returns the exit status.
  using Show = std::function<void(const ControlJSON& result)>;
  int ask(const std::string& method, const ControlJSON& params, const Show& show) const;
  // The same in two steps, for more than one question.
  int with(const std::function<int(ControlClient&)>& talk) const;

  int tell(int status, const std::string& text) const;
  // `params` are those of the request that was refused.
  int fail(const Error& error, const ControlJSON& params = {}) const;
  // What the program has to say about a change, as values that were held to their limits.
  void showNotes(const ControlJSON& result) const;

 private:
  std::string command_;
};

}  // namespace sonmere
