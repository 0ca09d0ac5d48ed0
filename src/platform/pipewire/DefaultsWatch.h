#pragma once

#include <functional>

#include "base/Time.h"
#include "platform/pipewire/PipeWireLoop.h"

struct spa_source;

namespace sonmere {

// Looks after a session that has devices and tells no default: its table may have been bound before it could
// answer, or be one that nobody writes to. It is asked again, often at first, until it tells. Costs no
// wake-up otherwise. Guarded by the loop's lock.
class DefaultsWatch {
 public:
  explicit DefaultsWatch(PipeWireLoop& loop);
  ~DefaultsWatch();

  // Whether there are devices and no default is told. Loop's thread.
  std::function<bool()> isUnknown;
  std::function<void()> askAgain;
  // It has been asked in vain for two seconds. Loop's thread.
  std::function<void()> gaveUp;

  // Something has changed that `isUnknown` goes by.
  void update();
  void reset();
  bool hasGivenUp() const;

 private:
  void look();
  void schedule(Duration interval);

  PipeWireLoop& loop_;
  spa_source* timer_ = nullptr;
  bool isScheduled_ = false;
  int looks_ = 0;
};

}  // namespace sonmere
