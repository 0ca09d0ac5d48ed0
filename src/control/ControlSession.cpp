#include "control/ControlSession.h"

#include "control/ControlCodec.h"

namespace sonmere {

bool ControlSession::wantsInput() const {
  return !isAtEnd_ && !isRefused_ && !next_ && !framer_.hasLine() && output().size() <= kMostUnread;
}

void ControlSession::receive(std::string_view bytes) {
  framer_.append(bytes);
  budget_.spendBytes(bytes.size());
  if (!framer_.hasLine()) budget_.spendRequest();
  carryOut();
}

void ControlSession::carryOut() {
  isCarryingOut_ = true;
  carryOutSome();
  isCarryingOut_ = false;
}

void ControlSession::carryOutSome() {
  for (int done = 0; !isRefused_ && output().size() <= kMostUnread; ++done) {
    if (!budget_.isLeft(runtime_.uptime())) return carryOutAfter(RequestBudget::kPause);
    if (!framer_.hasLine()) break;
    if (done == kRequestsAtOnce) return carryOutAfter(Duration::zero());
    budget_.spendRequest();
    handle(*framer_.next());
  }
  if (!framer_.hasOverflowed() || isRefused_) return;
  isRefused_ = true;
  send(controlFailure(nullptr, kInvalidRequest, "the message is longer than 64 KiB"));
}

void ControlSession::carryOutAfter(Duration delay) {
  next_ = runtime_.mainQueue().postAfter(delay, [self = weak_from_this()] {
    const auto session = self.lock();
    if (!session) return;
    session->next_ = {};
    session->carryOut();
    session->changed_();
  });
}

void ControlSession::handle(const std::string& line) {
  if (line.empty()) return;
  const auto request = parseControlRequest(line);
  if (!request) {
    const ControlRefusal& refusal = request.error();
    return send(controlFailure(refusal.id, refusal.code, refusal.message));
  }
  ++pendingReplies_;
  const auto reply = [self = weak_from_this(), id = request->id](const Outcome<ControlJSON>& outcome) {
    const auto session = self.lock();
    if (!session) return;
    --session->pendingReplies_;
    session->answer(id, outcome);
  };
  if (methods_.call(request->method, request->params, *this, reply)) return;
  --pendingReplies_;
  if (request->id)
    send(controlFailure(*request->id, kMethodNotFound, "there is no method \"" + request->method + "\""));
}

void ControlSession::answer(const std::optional<ControlJSON>& id, const Outcome<ControlJSON>& outcome) {
  if (id && outcome) send(controlResult(*id, *outcome));
  if (id && !outcome)
    send(controlFailure(*id, controlErrorCode(outcome.error()), outcome.error().description));
}

void ControlSession::send(const std::string& message) {
  out_ += message;
  if (!isCarryingOut_) changed_();
}

void ControlSession::tellChanges() {
  reconcileMeters();
  if (!canBeTold()) return;
  if (const std::string changes = feed_.takeChanges(); !changes.empty()) send(changes);
}

void ControlSession::watch(std::optional<Duration> interval, const std::string& spectrum) {
  meters_.cancel();
  look_ = interval ? control_.looks().look(spectrum) : nullptr;
  meterInterval_ = interval;
  toldMeters_.clear();
  reconcileMeters();
}

// What stands still is not looked at; the last look tells that it does.
void ControlSession::reconcileMeters() {
  const bool isWanted = meterInterval_ && control_.isAnyMetered();
  if (meterInterval_ && (!isWanted || !meters_)) tellMeters();
  if (isWanted == bool(meters_)) return;
  meters_.cancel();
  if (isWanted) meters_ = runtime_.mainQueue().repeat(*meterInterval_, [this] { tellMeters(); });
}

void ControlSession::tellMeters() {
  if (!canBeTold()) return;
  Meters meters = control_.meters();
  if (look_) meters.spectrum = control_.looks().spectrumOf(*look_);
  std::string message = controlNotification("meters", encodeControl(meters));
  if (message == toldMeters_) return;
  toldMeters_ = std::move(message);
  send(toldMeters_);
}

void ControlSession::sent(std::size_t size) {
  const bool wasFull = output().size() > kMostUnread;
  sent_ += size;
  // Moving what is left to the front for every piece that goes would be slow for a long answer.
  if (sent_ >= out_.size() / 2) out_.erase(0, std::exchange(sent_, 0));
  isCarryingOut_ = true;
  if (wasFull && output().size() <= kMostUnread && !next_) carryOutSome();
  tellChanges();
  isCarryingOut_ = false;
}

bool ControlSession::isOver() const {
  const bool isLast = isRefused_ || (isAtEnd_ && !framer_.hasLine() && !next_);
  return isLast && pendingReplies_ == 0 && output().empty();
}

}  // namespace sonmere
