#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "base/FileDescriptor.h"
#include "control/ControlMessage.h"
#include "control/MessageFramer.h"
#include "control/Topic.h"
#include "control/TopicValues.h"

namespace sonmere {

// A client of the control service that never blocks, for programs with a loop of their own: the loop calls
// process() when descriptor() can be read (and written, while wantsWrite()), and every now and then while
// isConnected() is false. It keeps the topics as they are there, from what it is told of their changes, and
// when the service is back after an end, subscribes anew. Threads: one at a time.
class ControlLink {
 public:
  struct Handlers {
    // The topic has another value, or is told anew after a connection.
    std::function<void(Topic topic, const TopicJSON& value)> changed = [](Topic, const TopicJSON&) {};
    std::function<void(const ControlJSON& meters)> metered = [](const ControlJSON&) {};
    // All topics were told.
    std::function<void()> connected = [] {};
    // The program has ended or refuses this client; the error is as ControlClient has it. It tries again.
    std::function<void(const Error& why)> disconnected = [](const Error&) {};
  };
  struct Wishes {
    TopicSet topics;
    double meterRate = 0;  // Hz; 0: no meters
  };

  ControlLink(std::filesystem::path folder, Wishes wishes, Handlers handlers);

  // -1 while not connected.
  int descriptor() const { return socket_.get(); }
  bool wantsWrite() const { return !out_.empty(); }
  // Said hello and subscribed.
  bool isConnected() const { return isReady_; }
  // Connects where it is not, reads and writes what can be without waiting, and calls the handlers.
  void process();

  // `done` is called by process() once, with the program's answer, or an error when the connection ends
  // before.
  using Done = std::function<void(const Outcome<ControlJSON>&)>;
  void call(const std::string& method, const ControlJSON& params, Done done);

  // Null before the first connection.
  const TopicJSON& value(Topic topic) const;

 private:
  struct Known {
    std::int64_t version = 0;
    TopicJSON value;
  };
  void connect();
  void readSome();
  void handleSafely(const std::string& line);
  void handle(const std::string& line);
  void take(const ControlJSON& notification);
  void takeSnapshot(const ControlJSON& result);
  void takeChange(const ControlJSON& params);
  void subscribe(const TopicSet& topics);
  void flush();
  void lose(const Error& why);

  const std::filesystem::path folder_;
  const Wishes wishes_;
  const Handlers handlers_;
  FileDescriptor socket_;
  MessageFramer framer_{MessageFramer::kUnbounded};
  std::string out_;
  int nextID_ = 1;
  std::map<int, Done> waiting_;
  std::map<Topic, Known> topics_;
  bool isReady_ = false;
};

}  // namespace sonmere
