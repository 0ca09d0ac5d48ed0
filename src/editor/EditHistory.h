#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "base/SettingForm.h"

namespace sonmere {

// What can be undone and redone, without limit. A state is everything that edits change, as a value; `What`
// names what an edit changes (a field, a field of one track), so that a drag becomes one step: its live edits
// join until the final one, or until something else is edited.
template <class State, class What>
class EditHistory {
 public:
  // An edit of `what` is about to lead, or has led, from `before` to `after`.
  void record(const State& before, const State& after, const What& what, SettingForm form) {
    const bool goesOn = gesture_ && *gesture_ == what;
    gesture_ = form == SettingForm::live ? std::optional<What>(what) : std::nullopt;
    if (!goesOn && before == after) {
      gesture_.reset();
      return;
    }
    if (goesOn) {
      steps_[done_ - 1].after = after;
      // A drag that ended where it began is no step.
      if (form == SettingForm::final && steps_[done_ - 1].before == after) steps_.resize(--done_);
      return;
    }
    steps_.resize(done_);
    steps_.push_back({before, after});
    ++done_;
  }

  bool canUndo() const { return done_ > 0; }
  bool canRedo() const { return done_ < steps_.size(); }
  // The state to go to; nothing when there is none.
  std::optional<State> undo() {
    gesture_.reset();
    if (!canUndo()) return std::nullopt;
    return steps_[--done_].before;
  }
  std::optional<State> redo() {
    gesture_.reset();
    if (!canRedo()) return std::nullopt;
    return steps_[done_++].after;
  }

 private:
  struct Step {
    State before;
    State after;
  };
  std::vector<Step> steps_;
  std::size_t done_ = 0;         // steps that have not been undone
  std::optional<What> gesture_;  // the latest step is a drag of this, still under way
};

}  // namespace sonmere
