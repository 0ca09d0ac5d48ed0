#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "AudioFiles.h"
#include "base/VirtualRuntime.h"
#include "editor/export/SessionExporter.h"
#include "editor/track/TrackReader.h"

namespace sonmere {
namespace {

// A whole run takes 200 places; a few are enough to see that nothing was broken.
int cutPoints() {
  const char* count = std::getenv("SONMERE_CUT_POINTS");
  return count ? std::atoi(count) : 12;
}

// In a process of its own: no file may grow beyond the limit.
bool failsAt(std::uint64_t limit, const std::function<Outcome<void>()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit bound{limit, limit};
    setrlimit(RLIMIT_FSIZE, &bound);
    const auto result = work();
    // The message names the file and the reason.
    const bool isClear = result || (result.error().description.find("out.") != std::string::npos &&
                                    result.error().description.find("File too large") != std::string::npos);
    _exit(!isClear ? 2 : result ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != 2) << limit;
  return WEXITSTATUS(status) != 0;
}

TEST(DiskFullTest, AnExportThatFindsNoRoomLeavesWhatWasThere) {
  const TemporaryFolder folder;
  const std::string source = makeAudioFile((folder / "a.wav").string(), SF_FORMAT_WAV | SF_FORMAT_PCM_16,
                                           48000, 2, noise(2 * 40000));
  const auto input = wholeFile(source);
  ASSERT_TRUE(input);
  VirtualRuntime runtime(1);
  Log log;
  for (const ExportFormat& format :
       {ExportFormat{}, ExportFormat{ExportFormat::Kind::mp3, MP3Bitrate::kbps320}}) {
    const std::string out = (folder / (std::string("out.") + format.fileExtension())).string();
    const auto work = [&] {
      ExportProgress progress(runtime);
      return SessionExporter(log).exportTrack(*input, out, {.format = format}, progress);
    };
    ASSERT_TRUE(work());
    const std::string old = bytesIn(out);
    for (int i = 0; i < cutPoints(); ++i) {
      const std::uint64_t limit = i == 0   ? 0
                                  : i == 1 ? old.size() - 1
                                           : old.size() * std::uint64_t(i) / std::uint64_t(cutPoints());
      EXPECT_TRUE(failsAt(limit, work)) << limit;
      EXPECT_EQ(bytesIn(out), old) << limit;
      EXPECT_FALSE(std::filesystem::exists(out + ".tmp")) << limit;
    }
    EXPECT_FALSE(failsAt(old.size(), work));
  }
}

}  // namespace
}  // namespace sonmere
