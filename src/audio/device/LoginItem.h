#pragma once

#include "base/Error.h"

namespace sonmere {

// Whether the program starts with the user's session. Main thread.
class LoginItem {
 public:
  virtual ~LoginItem() = default;
  virtual bool isEnabled() = 0;
  virtual Outcome<void> registerItem() = 0;
  virtual Outcome<void> unregisterItem() = 0;
};

}  // namespace sonmere
