#pragma once

#include <memory>

#include "audio/device/PowerEvents.h"
#include "base/Log.h"
#include "base/Runtime.h"

namespace sonmere {

// Sleep and wake as logind reports them. Before the machine sleeps the observers run to their end; logind
// waits for that, but no longer than its InhibitDelayMaxSec. A thread of its own sleeps until something
// comes. Without a system bus or logind nothing is reported, and the log says so once. Main thread.
class DesktopPowerEvents final : public PowerEvents {
 public:
  DesktopPowerEvents(Runtime& runtime, Log& log);
  ~DesktopPowerEvents() override;

  bool isAvailable() const override;
  [[nodiscard]] Subscription observeWillSleep(std::function<void()> observer) override;
  [[nodiscard]] Subscription observeDidWake(std::function<void()> observer) override;
  // The machine is to shut down; logind waits for the program's end, as long as it does. The end of a
  // session alone is a signal to the program, which ends as it does by any other.
  [[nodiscard]] Subscription observeWillTerminate(std::function<void()> observer) override;

 private:
  struct Observers;
  class Watch;
  std::shared_ptr<Observers> observers_;
  std::unique_ptr<Watch> watch_;
};

}  // namespace sonmere
