#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "fuzz/FuzzRecordings.h"

namespace sonmere {
namespace {

// What the fuzzer found worth keeping, once more.
TEST(FuzzCorpus, EveryRecordingIsReadAndMendedByTheRules) {
  int inputs = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(SONMERE_SOURCE_DIR "/fuzz/corpus/recordings")) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    fuzzRecordings(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++inputs;
  }
  EXPECT_GT(inputs, 10);
}

}  // namespace
}  // namespace sonmere
