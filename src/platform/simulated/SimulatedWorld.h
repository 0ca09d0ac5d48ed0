#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <vector>

#include "audio/device/ListenerTable.h"
#include "base/Log.h"
#include "base/Runtime.h"
#include "platform/simulated/CallRecord.h"
#include "platform/simulated/FaultPlan.h"
#include "platform/simulated/SimulatedGraph.h"
#include "platform/simulated/SimulatedOptions.h"

namespace sonmere {

// The server behind the boundary and behind the host: the graph, its lock, and the one way to change it.
// Cycles never take the world's lock. Threads: any but a render thread.
class SimulatedWorld : public std::enable_shared_from_this<SimulatedWorld> {
 public:
  SimulatedWorld(Runtime& runtime, Log& log, SimulatedOptions options);
  ~SimulatedWorld();

  Runtime& runtime() { return runtime_; }
  const SimulatedOptions& options() const { return options_; }
  FaultPlan& faults() { return faults_; }

  // Serves a call of the boundary: an injected fault, a server that is down, or what `serve` answers. Holds
  // the lock meanwhile. `about` is the object's ID, or a function that looks it up under the lock.
  template <class T, class Object, class Serve>
  Result<T> call(Operation operation, const Object& about, Serve&& serve) {
    const std::lock_guard lock(mutex_);
    const AudioObjectID object = idOf(about);
    if (const auto status = refusal(operation, object)) return std::unexpected(*status);
    Result<T> result = serve();
    record(operation, object, result ? noErr : result.error());
    return result;
  }
  template <class Object, class Serve>
  OSStatus perform(Operation operation, const Object& about, Serve&& serve) {
    const std::lock_guard lock(mutex_);
    const AudioObjectID object = idOf(about);
    if (const auto status = refusal(operation, object)) return *status;
    const OSStatus status = serve();
    record(operation, object, status);
    return status;
  }
  // Runs `work` under the lock.
  template <class Work>
  auto locked(Work&& work) {
    const std::lock_guard lock(mutex_);
    return work();
  }

  // All below: with the lock held.
  SimulatedGraph& graph() { return graph_; }
  ListenerTable& listeners() { return listeners_; }
  const std::deque<CallRecord>& ledger() const { return ledger_; }
  // Stops every cycle, changes the graph, and lets the cycles go on with new plans; then notifies of what is
  // different.
  void change(const std::function<void()>& edit);
  AudioObjectID newObjectID() { return nextObjectID_++; }
  std::uint64_t newOrder() { return nextOrder_++; }
  bool isAsleep() const { return asleep_; }
  void setAsleep(bool asleep);
  bool isDown() const { return down_; }
  // The server stops: all that was made on it goes.
  void goDown();
  // It is back, with new IDs for everything.
  void comeBack();
  // A line in the debug log, with the time.
  void note(const std::string& event);

 private:
  template <class Object>
  static AudioObjectID idOf(const Object& about) {
    if constexpr (std::is_invocable_v<const Object&>)
      return about();
    else
      return about;
  }
  std::optional<OSStatus> refusal(Operation operation, AudioObjectID object);
  void record(Operation operation, AudioObjectID object, OSStatus status);
  std::vector<std::shared_ptr<CaptureFeed>> stopInterruptedCaptures();
  void renumber();
  void forgetClients();

  Runtime& runtime_;
  Log& log_;
  const SimulatedOptions options_;
  FaultPlan faults_;
  std::mutex mutex_;
  // Under mutex_.
  SimulatedGraph graph_;
  ListenerTable listeners_;
  std::deque<CallRecord> ledger_;
  AudioObjectID nextObjectID_ = 40;
  std::uint64_t nextOrder_ = 1;
  bool asleep_ = false;
  bool down_ = false;
};

}  // namespace sonmere
