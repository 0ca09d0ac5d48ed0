#include "platform/simulated/FaultPlan.h"

#include <stdexcept>
#include <string>

namespace sonmere {

void FaultPlan::arm(Fault& fault, std::uint64_t call, OSStatus status) {
  fault.status.store(status, std::memory_order_relaxed);
  fault.call.store(call, std::memory_order_release);
}

void FaultPlan::failNth(Operation operation, std::uint64_t n, OSStatus status) {
  Entry& faults = entry(operation);
  const std::uint64_t now = faults.calls.load();
  for (Fault& fault : faults.singles)
    if (fault.call.load() <= now) return arm(fault, now + n, status);
  throw std::length_error("too many faults wait on operation " + std::string(operationName(operation)));
}

void FaultPlan::failFrom(Operation operation, std::uint64_t n, OSStatus status) {
  arm(entry(operation).from, calls(operation) + n, status);
}

void FaultPlan::clear(Operation operation) {
  Entry& faults = entry(operation);
  faults.from.call.store(0);
  for (Fault& fault : faults.singles) fault.call.store(0);
}

void FaultPlan::clear() {
  for (std::size_t i = 0; i < kOperationCount; ++i) clear(Operation(i));
}

std::optional<OSStatus> FaultPlan::next(Operation operation) noexcept {
  Entry& faults = entry(operation);
  const std::uint64_t call = faults.calls.fetch_add(1, std::memory_order_relaxed) + 1;
  const std::uint64_t from = faults.from.call.load(std::memory_order_acquire);
  if (from != 0 && call >= from) return faults.from.status.load(std::memory_order_relaxed);
  for (const Fault& fault : faults.singles)
    if (fault.call.load(std::memory_order_acquire) == call)
      return fault.status.load(std::memory_order_relaxed);
  return std::nullopt;
}

}  // namespace sonmere
