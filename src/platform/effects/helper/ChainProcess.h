#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "audio/effects/ChainRunner.h"
#include "audio/effects/SharedChain.h"
#include "platform/effects/HelperCodec.h"

namespace sonmere {

// The helper as the process of one chain. Its audio thread answers blocks; a second one reads the socket, so
// that the process ends with its parent whatever a plug-in does; the main thread does what is asked.
class ChainProcess {
 public:
  ChainProcess(SharedChain& memory, int socket, ChainRunner::Factory factory);

  // Does not return: the process ends with its parent.
  [[noreturn]] void run();
  // Tells the parent what a plug-in has to say. Threads: any.
  void log(const std::string& text);

 private:
  void readSocket();
  void answerAudio();
  std::string nextLine();
  void handle(const HelperJSON& message);
  void apply(const HelperJSON& message, HelperJSON& answer);
  void publish();
  void say(const HelperJSON& message);

  SharedChain& memory_;
  const int socket_;
  ChainRunner runner_;

  std::mutex linesMutex_;  // the reading thread, main
  std::condition_variable lineCame_;
  std::deque<std::string> lines_;

  std::mutex chainMutex_;  // main, the audio thread: for the time of a copy
  std::shared_ptr<const PluginChainSnapshot> chain_;
  // What was the chain before, until the audio thread has let go of it: it must not free anything.
  std::vector<std::shared_ptr<const PluginChainSnapshot>> former_;

  std::mutex sayMutex_;
};

}  // namespace sonmere
