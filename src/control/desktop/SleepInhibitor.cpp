#include "control/desktop/SleepInhibitor.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <systemd/sd-bus.h>

namespace sonmere {

namespace {

constexpr const char* kService = "org.freedesktop.login1";
constexpr const char* kObject = "/org/freedesktop/login1";
constexpr const char* kInterface = "org.freedesktop.login1.Manager";

}  // namespace

struct SleepInhibitor::Handlers {
  static int answered(sd_bus_message* answer, void* data, sd_bus_error*) {
    auto& inhibitor = *static_cast<SleepInhibitor*>(data);
    inhibitor.isAsked_ = false;
    int file = -1;
    if (const sd_bus_error* error = sd_bus_message_get_error(answer))
      inhibitor.log_.info(fmt::format("Sonmere: the machine may sleep while it records: {}", error->message));
    else if (sd_bus_message_read(answer, "h", &file) >= 0 && inhibitor.isRecording_)
      inhibitor.held_ = FileDescriptor(::fcntl(file, F_DUPFD_CLOEXEC, 3));
    return 0;
  }
};

SleepInhibitor::SleepInhibitor(SessionBus& systemBus, Log& log, Control& control)
    : bus_(systemBus), log_(log), control_(control) {
  changes_ = control.changes().observe([this](const TopicSet& topics) {
    if (topics.contains(Topic::recording)) look();
  });
}

void SleepInhibitor::look() {
  const bool isRecording = !control_.recordings().list().empty();
  if (std::exchange(isRecording_, isRecording) == isRecording) return;
  if (!isRecording) {
    held_ = FileDescriptor();
    return;
  }
  if (!bus_.get() || std::exchange(isAsked_, true)) return;
  if (sd_bus_call_method_async(bus_.get(), nullptr, kService, kObject, kInterface, "Inhibit",
                               Handlers::answered, this, "ssss", "sleep:idle", "Sonmere",
                               "A recording is being made", "block") < 0)
    isAsked_ = false;
  bus_.sent();
}

}  // namespace sonmere
