#include "platform/effects/helper/ChainProcess.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <thread>
#include <utility>

#include "audio/effects/ChainService.h"
#include "base/FlushToZero.h"
#include "base/SharedWord.h"
#include "platform/effects/helper/AudioPriority.h"

namespace sonmere {

namespace {
// A wake that gets lost costs no more than this.
constexpr Duration kLongestSleep = fromMilliseconds(500);
}  // namespace

ChainProcess::ChainProcess(SharedChain& memory, int socket, ChainRunner::Factory factory)
    : memory_(memory), socket_(socket), runner_(std::move(factory), &memory) {}

void ChainProcess::run() {
  std::thread([this] { readSocket(); }).detach();
  std::thread([this] { answerAudio(); }).detach();
  while (true) {
    const HelperJSON message = HelperJSON::parse(nextLine(), nullptr, false);
    if (message.is_object()) handle(message);
  }
}

void ChainProcess::readSocket() {
  std::string text;
  char part[65536];
  while (true) {
    const ssize_t got = read(socket_, part, sizeof part);
    if (got < 0 && errno == EINTR) continue;
    // At once, for a plug-in may hang, and its destructors too.
    if (got <= 0) _exit(0);
    text.append(part, std::size_t(got));
    for (auto end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
      const std::lock_guard lock(linesMutex_);
      lines_.push_back(text.substr(0, end));
      text.erase(0, end + 1);
      lineCame_.notify_one();
    }
  }
}

std::string ChainProcess::nextLine() {
  std::unique_lock lock(linesMutex_);
  lineCame_.wait(lock, [this] { return !lines_.empty(); });
  std::string line = std::move(lines_.front());
  lines_.pop_front();
  return line;
}

void ChainProcess::answerAudio() {
  raiseAudioPriority();
  const FlushToZero flush;
  std::shared_ptr<const PluginChainSnapshot> chain;
  while (true) {
    const std::uint32_t handed = memory_.handed.load(std::memory_order_acquire);
    if (handed == memory_.answered.load(std::memory_order_relaxed)) {
      sleepOn(memory_.handed, handed, kLongestSleep);
      continue;
    }
    {
      const std::lock_guard lock(chainMutex_);
      chain = chain_;
    }
    answerBlocks(memory_, chain.get());
  }
}

void ChainProcess::publish() {
  std::erase_if(former_, [](const auto& each) { return each.use_count() == 1; });
  const std::lock_guard lock(chainMutex_);
  former_.push_back(std::exchange(chain_, runner_.snapshot()));
}

void ChainProcess::apply(const HelperJSON& message, HelperJSON& answer) {
  const auto plan = decodeHelper<ChainPlan>(message.at("apply"));
  if (!plan) return;
  answer["report"] = encodeHelper(runner_.apply(*plan));
  publish();
}

void ChainProcess::handle(const HelperJSON& message) {
  HelperJSON answer{{"answer", message.value("ask", 0)}};
  if (message.contains("apply")) apply(message, answer);
  if (message.contains("states")) answer["states"] = encodeHelper(runner_.states());
  if (message.contains("ask")) say(answer);
  if (const auto control = message.find("control"); control != message.end())
    runner_.setControl(control->value("key", 0), control->value("symbol", std::string()),
                       control->value("value", 0.0f));
  if (const auto bypass = message.find("bypass"); bypass != message.end())
    runner_.setBypassed(bypass->value("key", 0), bypass->value("bypassed", false));
}

void ChainProcess::say(const HelperJSON& message) {
  const std::string line = helperLine(message);
  const std::lock_guard lock(sayMutex_);
  for (std::size_t sent = 0; sent < line.size();) {
    const ssize_t part = send(socket_, line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
    if (part < 0 && errno == EINTR) continue;
    if (part <= 0) return;
    sent += std::size_t(part);
  }
}

void ChainProcess::log(const std::string& text) { say({{"log", text}}); }

}  // namespace sonmere
