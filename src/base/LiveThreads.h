#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

namespace sonmere {

// The threads of a LiveRuntime: started by name, joined after they end. Threads: any.
class LiveThreads {
 public:
  ~LiveThreads() { join(); }

  // Runs `body` on a new thread; false when join() has begun. What `body` throws ends the program.
  bool start(const std::string& label, std::function<void()> body);
  // Waits for all threads and refuses new ones. Not from one of the threads.
  void join();

 private:
  using Threads = std::list<std::thread>;
  void collectEnded(Threads& ended);

  std::mutex mutex_;
  std::condition_variable allEnded_;
  bool isClosed_ = false;
  Threads running_;
  Threads ended_;
};

// At the start of a thread of our own: marks it as not the main one, and names it as system tools show it
// (the last 15 bytes of the label).
void beginThread(const std::string& label);

}  // namespace sonmere
