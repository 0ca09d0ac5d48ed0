#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/Lifetime.h"
#include "base/RenderReader.h"
#include "base/Runtime.h"

namespace sonmere {

// Keeps what was unpublished alive until no render thread can hold it: the grace has passed, and each reader
// that was inside a block at the moment of retirement has left that block. The clock alone is not enough
// when the process is stopped and resumed inside a block. Main thread only.
class RenderRetirement {
 public:
  explicit RenderRetirement(Runtime& runtime) : runtime_(runtime) {}
  // Whoever destroys this has stopped all readers.
  ~RenderRetirement() = default;
  RenderRetirement(const RenderRetirement&) = delete;
  RenderRetirement& operator=(const RenderRetirement&) = delete;

  // A reader counts from now on, and until the last shared reference outside goes.
  void addReader(std::shared_ptr<RenderReader> reader);
  // `object` is no longer published: drop it when it is safe.
  void retire(std::shared_ptr<const void> object, Duration grace);

  std::size_t pendingCount() const { return pending_.size(); }
  // Hands over all that waits, to an owner who outlives the readers.
  std::vector<std::shared_ptr<const void>> takePending();

 private:
  struct Held {
    std::shared_ptr<RenderReader> reader;
    std::uint64_t epoch;
  };
  struct Pending {
    std::shared_ptr<const void> object;
    Duration notBefore;
    std::vector<Held> inside;
  };
  void sweepLater(Duration delay);
  void sweep();

  Runtime& runtime_;
  std::vector<std::weak_ptr<RenderReader>> readers_;
  std::vector<Pending> pending_;
  Lifetime lifetime_;
};

}  // namespace sonmere
