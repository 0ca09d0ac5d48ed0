#include "platform/pipewire/TapGuard.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

extern char** environ;

namespace sonmere {

namespace {

std::string findGuard(const PipeWireOptions& options) {
  if (!options.tapGuard.empty()) return options.tapGuard;
  std::error_code error;
  const auto folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
  for (const auto& place : {folder / "sonmere-tap-guard", folder.parent_path() / "sonmere-tap-guard"})
    if (access(place.c_str(), X_OK) == 0) return place;
  return {};
}

// The guard finds both under fixed numbers.
constexpr int kMemoryNumber = 3, kWakeNumber = 4;

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

TapGuard::TapGuard(const PipeWireOptions& options, Log& log) : options_(options), log_(log) {}

TapGuard::~TapGuard() {
  wake_ = {};
  if (pid_ > 0) waitpid(pid_, nullptr, 0);
  if (page_) munmap(page_, sizeof(GuardPage));
}

bool TapGuard::start() {
  if (pid_ > 0 || std::exchange(wasTried_, true)) return pid_ > 0;
  const std::string path = findGuard(options_);
  const FileDescriptor memory(memfd_create("sonmere-taps", MFD_CLOEXEC));
  int ends[2] = {-1, -1};
  if (!path.empty() && memory.valid() && ftruncate(memory.get(), sizeof(GuardPage)) == 0 &&
      socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0) {
    wake_ = FileDescriptor(ends[0]);
    const FileDescriptor theirs(ends[1]);
    void* page = mmap(nullptr, sizeof(GuardPage), PROT_READ | PROT_WRITE, MAP_SHARED, memory.get(), 0);
    if (page != MAP_FAILED) {
      page_ = static_cast<GuardPage*>(page);
      pid_ = spawnGuard(path, options_.remote, memory.get(), theirs.get());
    }
  }
  if (pid_ == 0)
    log_.warning("Sonmere: the tap guard could not be started; apps stay silent while this program hangs");
  return pid_ > 0;
}

void TapGuard::add(std::uint32_t serial) {
  if (serial == 0 || !start()) return;
  for (auto& place : page_->serials) {
    if (place.load(std::memory_order_relaxed) != 0) continue;
    place.store(serial, std::memory_order_release);
    break;
  }
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
