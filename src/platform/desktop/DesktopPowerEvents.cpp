#include "platform/desktop/DesktopPowerEvents.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <optional>
#include <thread>

#include "base/FileDescriptor.h"
#include "base/LiveThreads.h"
#include "platform/ObserverList.h"

namespace sonmere {

namespace {

constexpr const char* kService = "org.freedesktop.login1";
constexpr const char* kObject = "/org/freedesktop/login1";
constexpr const char* kInterface = "org.freedesktop.login1.Manager";
// A bus that hangs must not hold up the start for long.
constexpr std::uint64_t kCallTimeoutUs = 2'000'000;

struct BusClose {
  void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using Bus = std::unique_ptr<sd_bus, BusClose>;

}  // namespace

struct DesktopPowerEvents::Observers {
  explicit Observers(Runtime& itsRuntime)
      : runtime(itsRuntime), willSleep(itsRuntime), didWake(itsRuntime), willTerminate(itsRuntime) {}
  Runtime& runtime;
  ObserverList<> willSleep;
  ObserverList<> didWake;
  ObserverList<> willTerminate;
};

// The connection to logind. Everything on the bus happens before the thread starts or on the thread.
class DesktopPowerEvents::Watch {
 public:
  Watch(std::shared_ptr<Observers> observers, Log& log) : observers_(std::move(observers)), log_(log) {
    if (const std::string failure = connect(); !failure.empty()) {
      log_.info("Sleep and wake are not reported: " + failure);
      bus_.reset();
      return;
    }
    isAvailable_ = true;
    thread_ = std::thread([this] { run(); });
  }
  ~Watch() {
    if (!thread_.joinable()) return;
    ::eventfd_write(stop_.get(), 1);
    thread_.join();
  }
  bool isAvailable() const { return isAvailable_; }

 private:
  // Why not; empty when all is well.
  std::string connect() {
    sd_bus* bus = nullptr;
    if (const int status = sd_bus_open_system(&bus); status < 0)
      return fmt::format("no system bus ({})", std::strerror(-status));
    bus_.reset(bus);
    sd_bus_set_method_call_timeout(bus, kCallTimeoutUs);
    const int status = sd_bus_match_signal(bus, nullptr, kService, kObject, kInterface, "PrepareForSleep",
                                           &Watch::prepareForSleep, this);
    const int further = sd_bus_match_signal(bus, nullptr, kService, kObject, kInterface, "PrepareForShutdown",
                                            &Watch::prepareForShutdown, this);
    if (status < 0 || further < 0)
      return fmt::format("the system bus gives no signals ({})", std::strerror(-std::min(status, further)));
    stop_ = FileDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!stop_.valid()) return std::strerror(errno);
    if (std::string failure = takeDelay("shutdown", "Recordings are completed", shutdownDelay_);
        !failure.empty())
      return failure;
    return takeSleepDelay();
  }

  std::string takeSleepDelay() { return takeDelay("sleep", "Audio is put to rest", delay_); }

  // Asks logind to wait with what is coming. As long as the descriptor is open it does.
  std::string takeDelay(const char* what, const char* why, std::shared_ptr<FileDescriptor>& delay) {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    const int status = sd_bus_call_method(bus_.get(), kService, kObject, kInterface, "Inhibit", &error,
                                          &reply, "ssss", what, "Sonmere", why, "delay");
    int fd = -1;
    if (status >= 0 && sd_bus_message_read(reply, "h", &fd) >= 0)
      delay = std::make_shared<FileDescriptor>(::fcntl(fd, F_DUPFD_CLOEXEC, 3));
    sd_bus_message_unref(reply);
    std::string failure;
    if (!delay)
      failure =
          fmt::format("logind does not answer ({})", error.message ? error.message : std::strerror(-status));
    sd_bus_error_free(&error);
    return failure;
  }

  static int prepareForSleep(sd_bus_message* message, void* self, sd_bus_error*) {
    int isBeginning = 0;
    if (sd_bus_message_read(message, "b", &isBeginning) < 0) return 0;
    if (isBeginning)
      static_cast<Watch*>(self)->willSleep();
    else
      static_cast<Watch*>(self)->didWake();
    return 0;
  }

  // The program ends, with its recordings complete, and the delay with it.
  static int prepareForShutdown(sd_bus_message* message, void* self, sd_bus_error*) {
    int isBeginning = 0;
    if (sd_bus_message_read(message, "b", &isBeginning) < 0 || !isBeginning) return 0;
    auto& observers = static_cast<Watch*>(self)->observers_;
    observers->runtime.mainQueue().post([observers] { observers->willTerminate.post(); });
    return 0;
  }

  // The delay goes with the task behind those of the observers.
  void willSleep() {
    isAsleep_ = true;
    observers_->runtime.mainQueue().post([observers = observers_, delay = std::exchange(delay_, nullptr)] {
      observers->willSleep.post();
      observers->runtime.mainQueue().post([delay] {});
    });
  }

  void didWake() {
    if (const std::string failure = takeSleepDelay(); !failure.empty())
      log_.warning("The next sleep will not wait for Sonmere: " + failure);
    tellWake();
  }

  void tellWake() {
    isAsleep_ = false;
    observers_->runtime.mainQueue().post([observers = observers_] { observers->didWake.post(); });
  }

  void run() {
    beginThread("power-events");
    while (true) {
      int status = 0;
      do status = sd_bus_process(bus_.get(), nullptr);
      while (status > 0);
      if (status == 0) status = wait();
      if (status == 0) return;
      if (status > 0) continue;
      isAvailable_ = false;
      log_.warning(fmt::format("Sleep and wake are reported no more: {}", std::strerror(-status)));
      // Nobody else would end what a sleep began.
      if (isAsleep_) tellWake();
      return;
    }
  }

  // 1: there may be something on the bus; 0: the end; negative: an errno.
  int wait() {
    const int fd = sd_bus_get_fd(bus_.get()), events = sd_bus_get_events(bus_.get());
    if (fd < 0 || events < 0) return fd < 0 ? fd : events;
    std::array<pollfd, 2> sources = {{{fd, short(events), 0}, {stop_.get(), POLLIN, 0}}};
    while (::poll(sources.data(), sources.size(), -1) < 0)
      if (errno != EINTR) return -errno;
    return sources[1].revents ? 0 : 1;
  }

  const std::shared_ptr<Observers> observers_;
  Log& log_;
  std::atomic<bool> isAvailable_ = false;
  FileDescriptor stop_;
  Bus bus_;
  std::shared_ptr<FileDescriptor> delay_;
  std::shared_ptr<FileDescriptor> shutdownDelay_;  // until the program ends
  bool isAsleep_ = false;                          // watch's thread
  std::thread thread_;
};

DesktopPowerEvents::DesktopPowerEvents(Runtime& runtime, Log& log)
    : observers_(std::make_shared<Observers>(runtime)), watch_(std::make_unique<Watch>(observers_, log)) {}

DesktopPowerEvents::~DesktopPowerEvents() = default;

bool DesktopPowerEvents::isAvailable() const { return watch_->isAvailable(); }

Subscription DesktopPowerEvents::observeWillSleep(std::function<void()> observer) {
  return observers_->willSleep.add(std::move(observer));
}
Subscription DesktopPowerEvents::observeDidWake(std::function<void()> observer) {
  return observers_->didWake.add(std::move(observer));
}
Subscription DesktopPowerEvents::observeWillTerminate(std::function<void()> observer) {
  return observers_->willTerminate.add(std::move(observer));
}

}  // namespace sonmere
