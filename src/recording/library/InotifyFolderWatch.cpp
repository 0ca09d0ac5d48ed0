#include "recording/library/InotifyFolderWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <set>

namespace sonmere {

namespace {

constexpr std::uint32_t kFolderGone = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED;
constexpr std::uint32_t kChanges =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF;

}  // namespace

Outcome<std::unique_ptr<FolderWatch>> InotifyFolderWatch::create(FileDescriptorWatcher& watcher) {
  FileDescriptor notes(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (!notes.valid()) return std::unexpected(posixError(errno, "Watch folders"));
  std::unique_ptr<InotifyFolderWatch> watch(new InotifyFolderWatch(watcher, std::move(notes)));
  const auto added = watcher.add(watch->notes_.get(), {.read = true}, [w = watch.get()] { w->read(); });
  if (!added) return std::unexpected(added.error());
  return watch;
}

InotifyFolderWatch::InotifyFolderWatch(FileDescriptorWatcher& watcher, FileDescriptor notes)
    : watcher_(watcher), notes_(std::move(notes)) {}

InotifyFolderWatch::~InotifyFolderWatch() { watcher_.remove(notes_.get()); }

Outcome<void> InotifyFolderWatch::watch(const std::string& folder, OnChange changed) {
  endWatch();
  const int watch = inotify_add_watch(notes_.get(), folder.c_str(), kChanges | IN_ONLYDIR);
  if (watch < 0) return std::unexpected(posixError(errno, "Watch " + folder));
  watch_ = watch;
  changed_ = std::move(changed);
  return {};
}

void InotifyFolderWatch::endWatch() {
  if (watch_ >= 0) inotify_rm_watch(notes_.get(), watch_);
  watch_ = -1;
}

void InotifyFolderWatch::read() {
  std::set<std::string> names;  // once each, however often they come in a burst
  bool isGone = false;
  alignas(inotify_event) std::array<char, 16384> buffer;
  ssize_t count = 0;
  while ((count = ::read(notes_.get(), buffer.data(), buffer.size())) > 0) {
    for (ssize_t at = 0; at < count;) {
      inotify_event event;
      std::memcpy(&event, buffer.data() + at, sizeof event);
      const char* name = buffer.data() + at + sizeof event;
      at += ssize_t(sizeof event) + event.len;
      if (event.mask & IN_Q_OVERFLOW) isGone = true;  // what was lost may have been that
      if (event.wd != watch_) continue;               // of a folder before this one
      if (event.mask & kFolderGone) isGone = true;
      if (event.len > 0) names.insert(name);
    }
  }
  if (isGone) endWatch();
  // The folder's end stands for all changes in it.
  if (isGone) names = {""};
  const auto life = lifetime_.witness();
  const OnChange changed = changed_;
  for (const std::string& name : names) {
    changed(name);
    if (life.isOver()) return;
  }
}

}  // namespace sonmere
