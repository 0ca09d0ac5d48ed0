#include "base/Error.h"

#include <cstring>

namespace sonmere {

Error posixError(int errnoValue, const std::string& action) {
  char text[128];
  // The GNU form returns the text, which need not be in the buffer.
  return {kPOSIXErrorDomain, errnoValue, action + ": " + strerror_r(errnoValue, text, sizeof text)};
}

}  // namespace sonmere
