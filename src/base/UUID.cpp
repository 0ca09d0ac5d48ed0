#include "base/UUID.h"

#include <fmt/format.h>

namespace sonmere {

std::string makeUUID(Runtime& runtime) {
  const std::uint64_t high = (runtime.randomBits() & 0xFFFFFFFFFFFF0FFFull) | 0x4000;
  const std::uint64_t low = (runtime.randomBits() & 0x3FFFFFFFFFFFFFFFull) | 0x8000000000000000ull;
  return fmt::format("{:08X}-{:04X}-{:04X}-{:04X}-{:012X}", high >> 32, (high >> 16) & 0xFFFF, high & 0xFFFF,
                     low >> 48, low & 0xFFFFFFFFFFFFull);
}

std::string makeShortUUID(Runtime& runtime) { return makeUUID(runtime).substr(0, 8); }

}  // namespace sonmere
