// Linked into every test program: a broken rule about threads ends it, with the place.
#include <cstdio>
#include <cstdlib>

#include "base/ThreadRules.h"

namespace sonmere {
namespace {

void abortAt(const char* rule, const std::source_location& where) noexcept {
  std::fprintf(stderr, "%s:%u: %s: %s\n", where.file_name(), unsigned(where.line()), where.function_name(),
               rule);
  std::abort();
}

[[maybe_unused]] const auto handlerBefore = ThreadRules::install(&abortAt);

}  // namespace
}  // namespace sonmere
