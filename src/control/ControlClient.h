#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "base/Error.h"
#include "base/FileDescriptor.h"
#include "control/ControlMessage.h"
#include "control/MessageFramer.h"

namespace sonmere {

// The other side of the control service: asks and waits for the answer; ControlLink is told
// of changes. One thread at a time; it blocks.
class ControlClient {
 public:
  // The domain of the program's answers that are errors; their codes are those of JSON-RPC.
  static constexpr const char* kAnswerDomain = "Sonmere";
  // Codes of errors that are not the program's answer.
  static constexpr const char* kErrorDomain = "ControlClient";
  static constexpr std::int64_t kNotRunning = 1;
  static constexpr std::int64_t kLost = 2;  // the program ended, or answers something else

  // The error says that nothing runs, or that what runs speaks another protocol or has
  // too many clients.
  static Outcome<ControlClient> connect(const std::filesystem::path& folder);

  // Who answers, as `hello` has it.
  const ControlJSON& greeting() const { return greeting_; }
  // The result, or the program's error with its JSON-RPC code.
  Outcome<ControlJSON> call(const std::string& method, const ControlJSON& params = nullptr);
  // Whether the program's process has ended within the time, with all that it held given back.
  bool waitForEnd(int milliseconds);

 private:
  explicit ControlClient(FileDescriptor socket);
  Outcome<void> send(const std::string& text);
  // The next message; kLost when none comes within the time that an answer may take.
  Outcome<ControlJSON> receive();

  FileDescriptor socket_;
  FileDescriptor process_;  // the program's; invalid where the system can't tell
  MessageFramer framer_{MessageFramer::kUnbounded};
  int nextID_ = 1;
  ControlJSON greeting_;
};

// What the program refuses with, whatever form its error has.
Error controlAnswerError(const ControlJSON& error);

}  // namespace sonmere
