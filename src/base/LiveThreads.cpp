#include "base/LiveThreads.h"

#include <pthread.h>

#include "base/ThreadRules.h"

namespace sonmere {

namespace {
constexpr std::size_t kLongestThreadName = 15;
}

void beginThread(const std::string& label) {
  ThreadRole::becomeOther();
  const std::size_t cut = label.size() > kLongestThreadName ? label.size() - kLongestThreadName : 0;
  pthread_setname_np(pthread_self(), label.c_str() + cut);
}

bool LiveThreads::start(const std::string& label, std::function<void()> body) {
  Threads ended;
  {
    const std::lock_guard lock(mutex_);
    if (isClosed_) return false;
    ended.swap(ended_);
    const auto place = running_.emplace(running_.end());
    *place = std::thread([this, place, label, run = std::move(body)]() mutable noexcept {
      beginThread(label);
      run();
      run = nullptr;
      const std::lock_guard endLock(mutex_);
      ended_.splice(ended_.end(), running_, place);
      if (running_.empty()) allEnded_.notify_all();
    });
  }
  collectEnded(ended);
  return true;
}

void LiveThreads::collectEnded(Threads& ended) {
  for (std::thread& thread : ended) thread.join();
}

void LiveThreads::join() {
  Threads ended;
  {
    std::unique_lock lock(mutex_);
    isClosed_ = true;
    allEnded_.wait(lock, [this] { return running_.empty(); });
    ended.swap(ended_);
  }
  collectEnded(ended);
}

}  // namespace sonmere
