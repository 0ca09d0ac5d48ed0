#pragma once

#include <memory>
#include <utility>

namespace sonmere {

// The life of the object that has it as a member. What comes later to the object's own queue (a listener's
// handler, a task that nobody holds as a ScopedTask, an answer) is guarded by it and falls silent with the
// object. The object's queue only.
class Lifetime {
 public:
  Lifetime() = default;
  Lifetime(const Lifetime&) = delete;
  Lifetime& operator=(const Lifetime&) = delete;

  // What calls `work` for as long as the object lives.
  template <class Work>
  auto guard(Work work) const {
    return [alive = std::weak_ptr(alive_), work = std::move(work)](auto&&... arguments) {
      if (!alive.expired()) work(std::forward<decltype(arguments)>(arguments)...);
    };
  }

 private:
  const std::shared_ptr<const char> alive_ = std::make_shared<char>();
};

}  // namespace sonmere
