#include <filesystem>

#include "FileSupport.h"
#include "fuzz/FuzzImporter.h"

namespace sonmere {
namespace {

// What the fuzzer found worth keeping, once more.
TEST(FileFuzzCorpus, EveryInputIsReadOrRefused) {
  int inputs = 0;
  for (const auto& entry : std::filesystem::directory_iterator(SONMERE_SOURCE_DIR "/fuzz/corpus/importer")) {
    const std::string bytes = bytesOf(entry.path());
    fuzzImporter(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++inputs;
  }
  EXPECT_GT(inputs, 15);
}

}  // namespace
}  // namespace sonmere
