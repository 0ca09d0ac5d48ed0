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
#include "control/TopicFeed.h"

namespace sonmere {

// One client's talk with the service, without its socket: bytes in, bytes out. Nothing here waits for the
// client: what it sends beyond its budget, or while it leaves too many answers unread, is not carried out
// before there is budget or room again. Main thread; all that it is given outlives it.
class ControlSession final : public ControlPeer, public std::enable_shared_from_this<ControlSession> {
 public:
  // With more answers unread than this, no further request is carried out. One answer may go beyond it.
  static constexpr std::size_t kMostUnread = 1024 * 1024;  // bytes
  // Requests that are carried out before other clients have their turn.
  static constexpr int kRequestsAtOnce = 16;

  ControlSession(Runtime& runtime, Control& control, ControlMethods& methods, TopicStates& states)
      : runtime_(runtime), control_(control), methods_(methods), feed_(states) {}

  // `changed` is called when there may be output, when input is wanted again, or when it may be over, but for
  // what receive() and sent() bring about.
  void start(std::function<void()> changed) { changed_ = std::move(changed); }

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
  bool isSubscribed(Topic topic) const { return feed_.isSubscribed(topic); }
  // Topics may have changed. A client that has not read what came before is told the newest once it has.
  void tellChanges();

  ControlJSON subscribe(const TopicSet& topics) override { return feed_.subscribe(topics); }
  void unsubscribe(const TopicSet& topics) override { feed_.unsubscribe(topics); }
  void watch(std::optional<Duration> interval, const std::string& spectrum) override;

 private:
  void carryOut();
  void carryOutSome();
  void carryOutAfter(Duration delay);
  void handle(const std::string& line);
  void answer(const std::optional<ControlJSON>& id, const Outcome<ControlJSON>& outcome);
  void send(const std::string& message);
  bool canBeTold() const { return output().empty() && !isOver(); }
  void reconcileMeters();
  void tellMeters();

  Runtime& runtime_;
  Control& control_;
  ControlMethods& methods_;
  TopicFeed feed_;
  std::optional<Duration> meterInterval_;           // nothing: no meters
  std::shared_ptr<const MeterControl::Look> look_;  // while meters are wanted
  std::string toldMeters_;
  ScopedTask meters_;
  MessageFramer framer_;
  RequestBudget budget_;
  std::string out_;
  std::size_t sent_ = 0;  // of out_
  std::function<void()> changed_;
  bool isAtEnd_ = false;
  bool isRefused_ = false;  // for a line that is too long
  bool isCarryingOut_ = false;
  int pendingReplies_ = 0;
  ScopedTask next_;  // carries on later
};

}  // namespace sonmere
