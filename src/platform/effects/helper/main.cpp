#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "platform/effects/HelperProgram.h"
#include "platform/effects/Lv2EffectsHost.h"
#include "platform/effects/helper/ChainProcess.h"
#include "platform/effects/helper/Questions.h"
#include "platform/lv2/Lv2Effect.h"

namespace sonmere {
namespace {

constexpr int kUsage = 2;

int answer(const std::vector<std::string>& words) {
  const std::string text = answerQuestion(words);
  if (text.empty()) return kUsage;
  for (std::size_t sent = 0; sent < text.size();) {
    const ssize_t part =
        send(HelperProgram::kSocketNumber, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (part <= 0) return 1;
    sent += std::size_t(part);
  }
  // Its answer is given: what a plug-in does at its end is nobody's business.
  _exit(0);
}

int runChain() {
  void* const place = mmap(nullptr, sizeof(SharedChain), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE,
                           HelperProgram::kMemoryNumber, 0);
  if (place == MAP_FAILED) return 1;
  const auto world = std::make_shared<Lv2World>();
  const std::string scratch = Lv2EffectsHost::standardOptions().scratch;
  ChainProcess process(*static_cast<SharedChain*>(place), HelperProgram::kSocketNumber,
                       [&](const std::string& id, double sampleRate, const std::string& state) {
                         return Lv2Effect::make(world, id, sampleRate, state, scratch);
                       });
  Lv2Features::log = [&process](const std::string& text) { process.log(text); };
  process.run();
}

int run(const std::vector<std::string>& words) {
  // A plug-in's crash is told by its signal; nobody reads its memory.
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
  return words == std::vector<std::string>{"chain"} ? runChain() : answer(words);
}

}  // namespace
}  // namespace sonmere

int main(int count, char** words) {
  try {
    return sonmere::run({words + 1, words + count});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "sonmere-effects: %s\n", error.what());
    return 1;
  }
}
