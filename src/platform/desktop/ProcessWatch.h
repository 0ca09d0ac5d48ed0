#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include "audio/device/AudioTypes.h"
#include "base/FileDescriptor.h"

namespace sonmere {

// Tells when processes end, whoever their parent is. A thread of its own sleeps until one does. Threads: any.
class ProcessWatch {
 public:
  // `ended` is called once for each process, on the watch's own thread.
  explicit ProcessWatch(std::function<void(ProcessID)> ended);
  // No call any more once this returns. Not on the watch's thread.
  ~ProcessWatch();

  // False when the process has ended already or the system can't tell. Watching twice is watching once.
  bool watch(ProcessID pid);

 private:
  void run();
  bool begin();

  const std::function<void(ProcessID)> ended_;
  std::mutex mutex_;  // guards what follows
  std::map<ProcessID, FileDescriptor> processes_;
  FileDescriptor events_;
  FileDescriptor stop_;
  std::thread thread_;
};

}  // namespace sonmere
