#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/Runtime.h"
#include "control/ControlMessage.h"
#include "control/ControlMethods.h"
#include "control/ControlPeer.h"
#include "control/MessageFramer.h"
#include "control/RequestBudget.h"

namespace sonmere {

// One client's talk with the service, without its socket: bytes in, bytes out. Nothing here waits for the
// client: what it sends beyond its budget, or while it leaves too many answers unread, is not carried out
// before there is budget or room again. Main thread; runtime and methods outlive it.
class ControlSession final : public ControlPeer, public std::enable_shared_from_this<ControlSession> {
 public:
  // With more answers unread than this, no further request is carried out. One answer may go beyond it.
  static constexpr std::size_t kMostUnread = 1024 * 1024;  // bytes
  // Requests that are carried out before other clients have their turn.
  static constexpr int kRequestsAtOnce = 16;

  ControlSession(Runtime& runtime, ControlMethods& methods) : runtime_(runtime), methods_(methods) {}

  // `changed` is called when there may be output, when input is wanted again, or when it may be over, but for
  // what receive() and sent() bring about; `watchingChanged` when the client wants levels or no longer does.
  void start(std::function<void()> changed, std::function<void()> watchingChanged);

  // Whether the client's bytes are to be read now.
  bool wantsInput() const;
  void receive(std::string_view bytes);
  // The client sends nothing more.
  void receiveEnd() { isAtEnd_ = true; }

  std::string_view output() const { return std::string_view(out_).substr(sent_); }
  // So many bytes of the output have gone.
  void sent(std::size_t size);

  // Nothing will come of it any more.
  bool isOver() const;
  bool isWatching() const { return isWatching_; }
  // A notification, left out while the client has not read what came before.
  void notify(const std::string& message);

  void setWatching(bool on) override;

 private:
  void carryOut();
  void carryOutSome();
  void carryOutAfter(Duration delay);
  void handle(const std::string& line);
  void answer(const std::optional<ControlJSON>& id, const Outcome<ControlJSON>& outcome);
  void send(const std::string& message);

  Runtime& runtime_;
  ControlMethods& methods_;
  MessageFramer framer_;
  RequestBudget budget_;
  std::string out_;
  std::size_t sent_ = 0;  // of out_
  std::function<void()> changed_;
  std::function<void()> watchingChanged_;
  bool isWatching_ = false;
  bool isAtEnd_ = false;
  bool isRefused_ = false;  // for a line that is too long
  bool isCarryingOut_ = false;
  int pendingReplies_ = 0;
  ScopedTask next_;  // carries on later
};

}  // namespace sonmere
