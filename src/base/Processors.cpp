#include "base/Processors.h"

#include <algorithm>
#include <thread>

namespace sonmere {

unsigned processorCount() noexcept { return std::max(std::thread::hardware_concurrency(), 1u); }

}  // namespace sonmere
