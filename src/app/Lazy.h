#pragma once

#include <functional>
#include <memory>

namespace sonmere {

// An owned object that is made when it is first asked for. One thread at a time.
template <class T>
class Lazy {
 public:
  explicit Lazy(std::function<std::shared_ptr<T>()> make) : make_(std::move(make)) {}

  const std::shared_ptr<T>& get() {
    if (!value_) value_ = make_();
    return value_;
  }
  bool isMade() const { return value_ != nullptr; }
  // Makes nothing.
  T* peek() const { return value_.get(); }
  void release() { value_.reset(); }

 private:
  std::function<std::shared_ptr<T>()> make_;
  std::shared_ptr<T> value_;
};

}  // namespace sonmere
