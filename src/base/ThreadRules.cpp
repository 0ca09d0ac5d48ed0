#include "base/ThreadRules.h"

namespace sonmere {

namespace {
std::atomic<ThreadRules::Handler> handler{nullptr};
}

ThreadRules::Handler ThreadRules::install(Handler next) noexcept {
  return handler.exchange(next, std::memory_order_acq_rel);
}

void ThreadRules::broken(const char* rule, const std::source_location& where) noexcept {
  if (const Handler told = handler.load(std::memory_order_acquire)) told(rule, where);
}

}  // namespace sonmere
