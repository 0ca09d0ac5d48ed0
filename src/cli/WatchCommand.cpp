#include "cli/WatchCommand.h"

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include "app/PlatformFolders.h"
#include "cli/ExitStatus.h"
#include "cli/JSONOutput.h"
#include "cli/LiveText.h"
#include "cli/RemoteCall.h"
#include "cli/RemotePrinter.h"
#include "cli/Terminal.h"
#include "control/ControlLink.h"

namespace sonmere {

namespace {

// How often levels are asked for, in Hz: lines that scroll by are read less quickly.
constexpr double kLiveRate = 10, kPlainRate = 1;

class Watch {
 public:
  Watch(bool json, int count) : json_(json), count_(count) {}
  int run();

 private:
  ControlLink::Handlers handlers();
  int connect();
  ControlJSON apps() const;
  bool isDone() const { return count_ > 0 && shown_ == count_; }
  void show();

  const bool json_;
  const int count_;
  const bool isTerminal_ = isatty(STDOUT_FILENO) && !json_;
  ControlLink link_{userControlFolder(),
                    {{Topic::apps, Topic::effects}, json_ || isTerminal_ ? kLiveRate : kPlainRate},
                    handlers()};
  ControlJSON meters_;  // null before they are told, which they are once at least
  bool isChanged_ = false;
  std::optional<Error> failure_;
  int shown_ = 0;
  LiveText live_;
};

ControlLink::Handlers Watch::handlers() {
  ControlLink::Handlers handlers;
  handlers.changed = [this](Topic, const TopicJSON&) { isChanged_ = true; };
  handlers.metered = [this](const ControlJSON& meters) {
    meters_ = meters;
    isChanged_ = true;
  };
  handlers.disconnected = [this](const Error& why) { failure_ = why; };
  return handlers;
}

// Connected, or why not.
int Watch::connect() {
  for (link_.process(); link_.descriptor() < 0 && !failure_; link_.process()) {
    // One that has begun to run meanwhile is tried again.
    const int status = RemoteCall("watch").with([](ControlClient&) { return int(kExitSuccess); });
    if (status != kExitSuccess) return status;
  }
  return kExitSuccess;
}

int Watch::run() {
  if (const int status = connect(); status != kExitSuccess) return status;
  while (!failure_ && !isDone()) {
    pollfd waiting{link_.descriptor(), short(POLLIN | (link_.wantsWrite() ? POLLOUT : 0)), 0};
    poll(&waiting, 1, -1);
    link_.process();
    if (link_.isConnected() && !meters_.is_null() && std::exchange(isChanged_, false)) show();
    if (std::fflush(stdout) != 0) return kExitFailure;
  }
  return failure_ ? RemoteCall("watch").fail(*failure_) : int(kExitSuccess);
}

// As the method "apps" tells them.
ControlJSON Watch::apps() const {
  const TopicJSON& topic = link_.value(Topic::apps);
  const TopicJSON& effects = link_.value(Topic::effects);
  const ControlJSON levels = meters_.value("apps", ControlJSON::object());
  ControlJSON all = ControlJSON::array();
  for (const TopicJSON& id : topic.at("order")) {
    ControlJSON app{{"id", std::string(id)}, {"bus", nullptr},         {"output", nullptr},
                    {"levelDb", nullptr},    {"gainReductionDb", 0.0}, {"addedDelayMs", 0.0},
                    {"underruns", 0},        {"leftOutMs", 0.0}};
    const TopicJSON& known = topic.at("apps").at(std::string(id));
    app.update(ControlJSON(known.at("facts")));
    app.update(ControlJSON(known.at("wishes")));
    app.update(levels.value(std::string(id), ControlJSON::object()));
    app.update(ControlJSON(effects.at("apps").value(std::string(id), TopicJSON::object())));
    all.push_back(app);
  }
  return all;
}

void Watch::show() {
  ++shown_;
  if (json_) {
    const ControlJSON all{{"apps", apps()},
                          {"recordings", meters_.value("recordings", ControlJSON::array())}};
    printJSONLine(all);
    return;
  }
  // Asked for each time: a window that changes is then soon fitted.
  const int columns = isTerminal_ ? terminalColumns() : 0;
  const std::string text = levelsText(apps(), columns);
  fmt::print("{}", columns > 0 ? live_.redrawn(text, columns, terminalRows()) : text);
}

}  // namespace

int runWatchCommand(bool json, int count) { return Watch(json, count).run(); }

}  // namespace sonmere
