#include "base/LineWriter.h"

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <string>
#include <thread>

#include "base/LiveThreads.h"

namespace sonmere {

struct LineWriter::State {
  State(int itsDescriptor, std::size_t most) : descriptor(itsDescriptor), mostWaiting(most) {}

  const int descriptor;
  const std::size_t mostWaiting;

  std::mutex mutex;  // guards what follows
  std::condition_variable changed, isIdle;
  std::string waiting;
  std::size_t dropped = 0;  // lines
  bool hasThread = false;
  bool isWriting = false;
  bool isClosed = false;
  bool isBroken = false;  // nobody reads

  bool isDone() const { return isBroken || (waiting.empty() && dropped == 0 && !isWriting); }
  void run();
  bool takeNext(std::string& lines);
  bool writeAll(std::string_view bytes) const;
};

// The next lines, with the count of those that had no room after them; false at the end.
bool LineWriter::State::takeNext(std::string& lines) {
  std::unique_lock lock(mutex);
  isWriting = false;
  if (isDone()) isIdle.notify_all();
  changed.wait(lock, [this] { return isClosed || isBroken || !waiting.empty() || dropped > 0; });
  if (isBroken || (waiting.empty() && dropped == 0)) return false;
  lines.clear();
  lines.swap(waiting);
  if (dropped > 0) lines += fmt::format("({} lines were dropped: nobody read them)\n", dropped);
  dropped = 0;
  isWriting = true;
  return true;
}

bool LineWriter::State::writeAll(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(std::size_t(count));
    } else if (errno == EAGAIN) {
      pollfd room{descriptor, POLLOUT, 0};
      ::poll(&room, 1, -1);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

void LineWriter::State::run() {
  // SIGPIPE too: it is the thread's that wrote.
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
  beginThread("lines");
  std::string lines;
  while (takeNext(lines)) {
    if (writeAll(lines)) continue;
    const std::lock_guard lock(mutex);
    isBroken = true;
  }
  const std::lock_guard lock(mutex);
  isIdle.notify_all();
}

LineWriter::LineWriter(int descriptor, std::size_t mostWaiting)
    : state_(std::make_shared<State>(descriptor, mostWaiting)) {}

LineWriter::~LineWriter() {
  flush(kLastWait);
  const std::lock_guard lock(state_->mutex);
  state_->isClosed = true;
  state_->changed.notify_one();
}

void LineWriter::write(std::string_view lines) {
  const std::lock_guard lock(state_->mutex);
  if (state_->isBroken) return;
  // Behind one that had no room none has, so that the count stands where they would have.
  if (state_->dropped > 0 || state_->waiting.size() + lines.size() > state_->mostWaiting)
    ++state_->dropped;
  else
    state_->waiting += lines;
  // Detached: one that is held up by its reader must not hold up the process.
  if (!std::exchange(state_->hasThread, true)) std::thread([state = state_] { state->run(); }).detach();
  state_->changed.notify_one();
}

bool LineWriter::flush(Duration limit) {
  std::unique_lock lock(state_->mutex);
  return state_->isIdle.wait_for(lock, limit, [this] { return state_->isDone(); });
}

}  // namespace sonmere
