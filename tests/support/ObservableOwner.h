#pragma once

#include <utility>

#include "base/Observable.h"

namespace sonmere {

// Tells a change as its owner would, for tests of who hears it.
struct ObservableOwner {
  template <class T, class Owner>
  static void set(OwnedObservable<T, Owner>& observable, std::type_identity_t<T> value) {
    observable.set(std::move(value));
  }
};

}  // namespace sonmere
