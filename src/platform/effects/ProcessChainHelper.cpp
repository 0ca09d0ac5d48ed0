#include "platform/effects/ProcessChainHelper.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "base/PrintableText.h"
#include "base/SharedWord.h"

namespace sonmere {

// The chain's memory, for as long as a render may hold it.
class ProcessChainHelper::Memory final : public ChainLink {
 public:
  static Outcome<std::shared_ptr<Memory>> make(FileDescriptor& file) {
    file = FileDescriptor(memfd_create("sonmere-chain", MFD_CLOEXEC));
    if (!file.valid() || ftruncate(file.get(), sizeof(SharedChain)) != 0)
      return std::unexpected(posixError(errno, "has no memory to share"));
    void* const place =
        mmap(nullptr, sizeof(SharedChain), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, file.get(), 0);
    if (place == MAP_FAILED) return std::unexpected(posixError(errno, "has no memory to share"));
    return std::make_shared<Memory>(static_cast<SharedChain*>(place));
  }
  explicit Memory(SharedChain* chain) : chain_(chain) {}
  ~Memory() override { munmap(chain_, sizeof(SharedChain)); }

  SharedChain& memory() noexcept override { return *chain_; }
  void wake() noexcept SONMERE_NONBLOCKING override { wakeSleeper(chain_->handed); }

 private:
  SharedChain* const chain_;
};

Outcome<std::unique_ptr<ProcessChainHelper>> ProcessChainHelper::start(const HelperProgram& program,
                                                                       Queue& mainQueue,
                                                                       FileDescriptorWatcher& watcher,
                                                                       Log& log) {
  FileDescriptor file;
  auto memory = Memory::make(file);
  if (!memory) return std::unexpected(memory.error());
  auto process = program.start({"chain"}, file.get());
  if (!process) return std::unexpected(process.error());
  return std::unique_ptr<ProcessChainHelper>(
      new ProcessChainHelper(std::move(*process), std::move(*memory), mainQueue, watcher, log));
}

ProcessChainHelper::ProcessChainHelper(HelperProgram::Process process, std::shared_ptr<Memory> memory,
                                       Queue& mainQueue, FileDescriptorWatcher& watcher, Log& log)
    : mainQueue_(mainQueue),
      watcher_(watcher),
      log_(log),
      process_(std::move(process)),
      memory_(std::move(memory)) {
  const int socket = process_.socket.get();
  fcntl(socket, F_SETFL, fcntl(socket, F_GETFL) | O_NONBLOCK);
  if (!watcher_.add(socket, {.read = true}, [this] { readable(); }))
    mainQueue_.post(lifetime_.guard([this] { end(); }));
}

ProcessChainHelper::~ProcessChainHelper() {
  if (isOver_) return;
  watcher_.remove(process_.socket.get());
  HelperProgram::end(process_.pid);
}

std::shared_ptr<ChainLink> ProcessChainHelper::link() { return memory_; }

void ProcessChainHelper::readable() {
  char part[65536];
  while (true) {
    const ssize_t got = read(process_.socket.get(), part, sizeof part);
    if (got > 0 && in_.size() < HelperProgram::kMostBytes) {
      in_.append(part, std::size_t(got));
      continue;
    }
    if (got < 0 && errno == EINTR) continue;
    if (got < 0 && errno == EAGAIN) break;
    return end();
  }
  flush();
  const auto life = lifetime_.witness();
  for (auto line = in_.find('\n'); line != std::string::npos; line = in_.find('\n')) {
    const std::string text = in_.substr(0, line);
    in_.erase(0, line + 1);
    take(text);
    if (life.isOver()) return;
  }
}

void ProcessChainHelper::take(const std::string& line) {
  const HelperJSON message = HelperJSON::parse(line, nullptr, false);
  if (!message.is_object()) return;
  if (const auto text = message.find("log"); text != message.end() && text->is_string())
    return log_.debug("plug-in: " + printable(text->get_ref<const std::string&>()));
  const auto id = message.find("answer");
  if (id == message.end() || !id->is_number_integer()) return;
  const auto asked = asked_.find(id->get<int>());
  if (asked == asked_.end()) return;
  const Answer answer = std::move(asked->second);
  asked_.erase(asked);
  answer(message);
}

void ProcessChainHelper::end() {
  if (std::exchange(isOver_, true)) return;
  watcher_.remove(process_.socket.get());
  const std::string how = HelperProgram::end(process_.pid);
  process_.socket = FileDescriptor();
  const auto life = lifetime_.witness();
  for (auto& [id, answer] : std::exchange(asked_, {})) {
    answer(std::unexpected(Error{"Plugins", 31, how}));
    if (life.isOver()) return;
  }
  const auto tell = ended;
  if (tell) tell(how);
}

void ProcessChainHelper::say(const HelperJSON& message) {
  if (isOver_) return;
  out_ += helperLine(message);
  flush();
}

void ProcessChainHelper::flush() {
  while (!out_.empty()) {
    const ssize_t sent = send(process_.socket.get(), out_.data(), out_.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) break;
    out_.erase(0, std::size_t(sent));
  }
  watcher_.change(process_.socket.get(), {.read = true, .write = !out_.empty()});
}

void ProcessChainHelper::ask(HelperJSON message, Answer answer) {
  if (isOver_)
    return mainQueue_.post([answer] { answer(std::unexpected(Error{"Plugins", 31, "has ended"})); });
  const int id = nextAsk_++;
  asked_[id] = std::move(answer);
  message["ask"] = id;
  say(message);
}

void ProcessChainHelper::apply(const ChainPlan& plan, Planned done) {
  ask({{"apply", encodeHelper(plan)}}, [done = std::move(done)](const Outcome<HelperJSON>& answer) {
    if (!answer) return done(std::unexpected(answer.error()));
    const auto report = decodeHelper<ChainReport>(answer->value("report", HelperJSON()));
    if (!report) return done(std::unexpected(Error{"Plugins", 32, "does not speak as it should"}));
    done(*report);
  });
}

void ProcessChainHelper::saveStates(Saved done) {
  ask({{"states", true}}, [done = std::move(done)](const Outcome<HelperJSON>& answer) {
    if (!answer) return done(std::unexpected(answer.error()));
    const auto states = decodeHelper<States>(answer->value("states", HelperJSON()));
    if (!states) return done(std::unexpected(Error{"Plugins", 32, "does not speak as it should"}));
    done(*states);
  });
}

void ProcessChainHelper::setControl(int key, const std::string& symbol, float value) {
  say({{"control", {{"key", key}, {"symbol", symbol}, {"value", value}}}});
}

void ProcessChainHelper::setBypassed(int key, bool bypassed) {
  say({{"bypass", {{"key", key}, {"bypassed", bypassed}}}});
}

}  // namespace sonmere
