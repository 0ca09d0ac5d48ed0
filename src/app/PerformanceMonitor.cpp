#include "app/PerformanceMonitor.h"

namespace sonmere {

void PerformanceMonitor::reconcile() {
  const bool isWanted = probe_.hasRings();
  if (isWanted == bool(tick_)) return;
  tick_.cancel();
  if (!isWanted) return;
  tick_ = runtime_.mainQueue().repeat(kTick, [this] { probe_.record(); });
}

}  // namespace sonmere
