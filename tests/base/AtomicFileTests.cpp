#include "base/AtomicFile.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;

mode_t modeOf(const fs::path& path) {
  struct stat info {};
  stat(path.c_str(), &info);
  return info.st_mode & 07777;
}

std::size_t filesIn(const fs::path& folder) {
  return std::size_t(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

TEST(AtomicFile, ReplacesAsAWholeAndStaysPrivate) {
  const TemporaryFolder folder;
  const fs::path path = folder / "file";
  ASSERT_TRUE(writeFileAtomically(path, "first"));
  EXPECT_EQ(modeOf(path), 0600);
  const std::string large(300'000, 'x');
  ASSERT_TRUE(writeFileAtomically(path, large));
  EXPECT_EQ(readWholeFile(path), large);
  EXPECT_EQ(filesIn(folder.path()), 1u);
}

TEST(AtomicFile, FollowsLinksAndKeepsThem) {
  const TemporaryFolder folder;
  ASSERT_TRUE(createFolders(folder / "real/deep"));
  EXPECT_EQ(modeOf(folder / "real"), 0700);
  fs::create_symlink("real/middle", folder / "link");
  fs::create_symlink("deep/target", folder / "real/middle");
  ASSERT_TRUE(writeFileAtomically(folder / "link", "made"));
  ASSERT_TRUE(writeFileAtomically(folder / "link", "changed"));
  EXPECT_TRUE(fs::is_symlink(folder / "link"));
  EXPECT_EQ(readWholeFile(folder / "real/deep/target"), "changed");
  fs::create_symlink("loop", folder / "loop");
  EXPECT_EQ(writeFileAtomically(folder / "loop", "x").error().code, ELOOP);
}

TEST(AtomicFile, FailuresNameTheFileAndLeaveNothing) {
  const TemporaryFolder folder;
  const auto missing = writeFileAtomically(folder / "no/such/file", "x");
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.error().domain, kPOSIXErrorDomain);
  EXPECT_EQ(missing.error().code, ENOENT);
  EXPECT_NE(missing.error().description.find("no/such"), std::string::npos);
  // A folder in the file's place makes the last step fail.
  ASSERT_TRUE(createFolders(folder / "taken/by"));
  EXPECT_FALSE(writeFileAtomically(folder / "taken", "x"));
  EXPECT_EQ(filesIn(folder.path()), 1u);
  EXPECT_EQ(readWholeFile(folder / "taken").error().code, EISDIR);
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_FALSE(readWholeFile(folder / "pipe"));
  ASSERT_TRUE(writeFileAtomically(folder / "plain", "x"));
  EXPECT_EQ(createFolders(folder / "plain/below").error().code, ENOTDIR);
}

TEST(AtomicFile, FullDiskKeepsTheOldFile) {
  const TemporaryFolder folder;
  const fs::path path = folder / "file";
  ASSERT_TRUE(writeFileAtomically(path, "old"));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // A file size limit fails the write in its middle, as a full disk does.
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    const auto result = writeFileAtomically(path, std::string(5000, 'x'));
    _exit(!result && result.error().code == EFBIG ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(readWholeFile(path), "old");
  EXPECT_EQ(filesIn(folder.path()), 1u);
}

TEST(AtomicFile, SweepsOnlyWhatDeadWritersLeft) {
  const TemporaryFolder folder;
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(0);
  waitpid(child, nullptr, 0);
  const auto touch = [&](const std::string& name) { std::ofstream(folder / name) << "x"; };
  touch(fmt::format(".file.{}.0123.tmp", child));
  touch(fmt::format(".file.{}.0123.tmp", getpid()));  // an earlier process that had this one's ID
  const std::vector<std::string> kept{fmt::format(".file.{}.0123.tmp", getppid()), "file", ".file.tmp",
                                      fmt::format(".other.{}.0123.tmp", child), ".file.12x.tmp"};
  for (const std::string& name : kept) touch(name);
  sweepStaleTemporaries(folder.path(), "file");
  for (const std::string& name : kept) EXPECT_TRUE(fs::exists(folder / name)) << name;
  EXPECT_EQ(filesIn(folder.path()), kept.size());
  sweepStaleTemporaries(folder / "missing", "file");
}

}  // namespace
}  // namespace sonmere
