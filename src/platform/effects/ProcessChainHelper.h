#pragma once

#include <map>
#include <memory>
#include <string>

#include "audio/effects/ChainHelper.h"
#include "base/FileDescriptorWatcher.h"
#include "base/Lifetime.h"
#include "base/Log.h"
#include "base/Queue.h"
#include "platform/effects/HelperCodec.h"
#include "platform/effects/HelperProgram.h"

namespace sonmere {

// A chain in a process of its own, spoken to over a socket, with its blocks in memory that both map. Main
// thread; queue, log and watcher outlive it.
class ProcessChainHelper final : public ChainHelper {
 public:
  static Outcome<std::unique_ptr<ProcessChainHelper>> start(const HelperProgram& program, Queue& mainQueue,
                                                            FileDescriptorWatcher& watcher, Log& log);
  ~ProcessChainHelper() override;

  void apply(const ChainPlan& plan, Planned done) override;
  void setControl(int key, const std::string& symbol, float value) override;
  void setBypassed(int key, bool bypassed) override;
  void saveStates(Saved done) override;
  std::shared_ptr<ChainLink> link() override;

  pid_t process() const { return process_.pid; }

 private:
  class Memory;
  using Answer = std::function<void(Outcome<HelperJSON>)>;
  ProcessChainHelper(HelperProgram::Process process, std::shared_ptr<Memory> memory, Queue& mainQueue,
                     FileDescriptorWatcher& watcher, Log& log);

  void ask(HelperJSON message, Answer answer);
  void say(const HelperJSON& message);
  void flush();
  void readable();
  void take(const std::string& line);
  void end();

  Queue& mainQueue_;
  FileDescriptorWatcher& watcher_;
  Log& log_;
  HelperProgram::Process process_;
  const std::shared_ptr<Memory> memory_;
  bool isOver_ = false;
  std::string in_, out_;
  int nextAsk_ = 1;
  std::map<int, Answer> asked_;
  Lifetime lifetime_;
};

}  // namespace sonmere
