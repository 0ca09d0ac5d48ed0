#pragma once

#include <memory>
#include <utility>

namespace sonmere {

// The life of the object that has it as a member. What comes later to the object's own queue (a listener's
// handler, a task that nobody holds as a ScopedTask, an answer) is guarded by it and falls silent with the
// object. The object's queue only.
class Lifetime {
 public:
  // Tells, after a call that may have ended the object, whether it has.
  class Witness {
   public:
    bool isOver() const { return alive_.expired(); }

   private:
    friend class Lifetime;
    explicit Witness(const std::shared_ptr<const char>& alive) : alive_(alive) {}
    std::weak_ptr<const char> alive_;
  };

  Lifetime() = default;
  Lifetime(const Lifetime&) = delete;
  Lifetime& operator=(const Lifetime&) = delete;

  Witness witness() const { return Witness(alive_); }
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
