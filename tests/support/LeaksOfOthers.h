#pragma once

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace sonmere {

// Libraries that are not ours keep what they allocate when a plug-in loads them; while this lives, what its
// thread allocates isn't told as a leak.
class [[maybe_unused]] LeaksOfOthers {
 public:
  LeaksOfOthers(const LeaksOfOthers&) = delete;
  LeaksOfOthers& operator=(const LeaksOfOthers&) = delete;
#ifdef __SANITIZE_ADDRESS__
  LeaksOfOthers() { __lsan_disable(); }
  ~LeaksOfOthers() { __lsan_enable(); }
#else
  LeaksOfOthers() = default;
  ~LeaksOfOthers() = default;
#endif
};

}  // namespace sonmere
