#include "platform/pipewire/TapGuard.h"

#include <fcntl.h>
#include <pipewire/pipewire.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "base/ProgramFiles.h"

extern char** environ;

namespace sonmere {

namespace {

std::string findGuard(const PipeWireOptions& options) {
  return options.tapGuard.empty() ? helperProgram("sonmere-tap-guard") : options.tapGuard;
}

// The guard finds both under fixed numbers.
constexpr int kMemoryNumber = 3, kWakeNumber = 4;
// A guard without apps to let go ends within a millisecond.
constexpr int kEndPatience = 500;  // ms

int spawnGuard(const std::string& path, const std::string& remote, int memory, int wake) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  // Out of the way first, or one could overwrite the other.
  const FileDescriptor highMemory(fcntl(memory, F_DUPFD_CLOEXEC, 10)),
      highWake(fcntl(wake, F_DUPFD_CLOEXEC, 10));
  posix_spawn_file_actions_adddup2(&actions, highMemory.get(), kMemoryNumber);
  posix_spawn_file_actions_adddup2(&actions, highWake.get(), kWakeNumber);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  // A signal from the terminal is for the program; the guard ends after it.
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  std::vector<char*> arguments = {const_cast<char*>(path.c_str()), const_cast<char*>(remote.c_str()),
                                  nullptr};
  pid_t pid = 0;
  const int error = posix_spawn(&pid, path.c_str(), &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? pid : 0;
}

}  // namespace

TapGuard::TapGuard(PipeWireLoop& loop, const PipeWireOptions& options, Log& log)
    : loop_(loop), options_(options), log_(log) {}

TapGuard::~TapGuard() {
  {
    const PipeWireLoop::Lock lock(loop_);
    if (end_) pw_loop_destroy_source(loop_.events(), end_);
  }
  if (wake_.valid()) {
    shutdown(wake_.get(), SHUT_WR);
    pollfd end{wake_.get(), 0, 0};
    poll(&end, 1, kEndPatience);
  }
  if (pid_ > 0) waitpid(pid_, nullptr, WNOHANG);
  if (page_) munmap(page_, sizeof(GuardPage));
}

bool TapGuard::mapPage() {
  if (page_) return true;
  memory_ = FileDescriptor(memfd_create("sonmere-taps", MFD_CLOEXEC));
  if (!memory_.valid() || ftruncate(memory_.get(), sizeof(GuardPage)) != 0) return false;
  void* page = mmap(nullptr, sizeof(GuardPage), PROT_READ | PROT_WRITE, MAP_SHARED, memory_.get(), 0);
  if (page != MAP_FAILED) page_ = static_cast<GuardPage*>(page);
  return page_ != nullptr;
}

bool TapGuard::start() {
  if (pid_ > 0 || hasFailed_) return pid_ > 0;
  hasFailed_ = !spawn();
  if (hasFailed_)
    log_.warning("Sonmere: the tap guard could not be started; apps stay silent while this program hangs");
  return !hasFailed_;
}

bool TapGuard::spawn() {
  const std::string path = findGuard(options_);
  int ends[2] = {-1, -1};
  if (path.empty() || !mapPage() || socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    return false;
  wake_ = FileDescriptor(ends[0]);
  const FileDescriptor theirs(ends[1]);
  page_->hasLooked.store(0, std::memory_order_relaxed);
  pid_ = spawnGuard(path, options_.remote, memory_.get(), theirs.get());
  if (pid_ == 0) return false;
  end_ = pw_loop_add_io(
      loop_.events(), wake_.get(), SPA_IO_HUP, false,
      [](void* data, int, std::uint32_t) { static_cast<TapGuard*>(data)->ended(); }, this);
  return true;
}

void TapGuard::ended() {
  pw_loop_destroy_source(loop_.events(), std::exchange(end_, nullptr));
  waitpid(std::exchange(pid_, 0), nullptr, 0);
  if (page_->hasLooked.load(std::memory_order_relaxed) == 0) {
    hasFailed_ = true;
    log_.warning("Sonmere: the tap guard does not run; apps stay silent while this program hangs");
    return;
  }
  log_.warning("Sonmere: the tap guard has ended");
  const auto isTaken = [](const auto& place) { return place.load(std::memory_order_relaxed) != 0; };
  if (std::ranges::any_of(page_->serials, isTaken) && start()) tell();
}

void TapGuard::add(std::uint32_t serial) {
  if (serial == 0 || !start()) return;
  const auto free = std::ranges::find_if(
      page_->serials, [](const auto& place) { return place.load(std::memory_order_relaxed) == 0; });
  if (free == page_->serials.end()) {
    log_.warning(
        "Sonmere: the tap guard has no place for another app; it stays silent if this program hangs");
    return;
  }
  free->store(serial, std::memory_order_release);
  tell();
}

void TapGuard::remove(std::uint32_t serial) {
  if (!page_ || serial == 0) return;
  for (auto& place : page_->serials)
    if (place.load(std::memory_order_relaxed) == serial) place.store(0, std::memory_order_release);
  tell();
}

void TapGuard::clear() {
  if (!page_) return;
  for (auto& place : page_->serials) place.store(0, std::memory_order_release);
  tell();
}

void TapGuard::tell() {
  if (wake_.valid()) (void)!send(wake_.get(), "", 1, MSG_DONTWAIT | MSG_NOSIGNAL);
}

}  // namespace sonmere
