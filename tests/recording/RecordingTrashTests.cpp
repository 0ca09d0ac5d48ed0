#include "recording/library/RecordingTrash.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "base/AtomicFile.h"
#include "base/VirtualRuntime.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;

class RecordingTrashTest : public testing::Test {
 protected:
  RecordingTrashTest() {
    setenv("TZ", "UTC", 1);
    tzset();
    fs::create_directories(takes);
  }
  std::string make(const std::string& name, const std::string& text) const {
    std::ofstream((fs::path(takes) / name).string()) << text;
    return (fs::path(takes) / name).string();
  }

  TemporaryFolder folder;
  const std::string takes = (folder / "Täke 100%").string(), home = (folder / "data" / "Trash").string();
  const RecordingTrash trash{home};
  const Date now = VirtualRuntime::kDefaultStart;
};

TEST_F(RecordingTrashTest, PutsAFileThereAsDesktopsDoAndBringsItBack) {
  const std::string path = make("a\nb.wav", "first");
  EXPECT_EQ(*trash.put(path, now), home + "/files/a\nb.wav");
  EXPECT_FALSE(fs::exists(path));
  EXPECT_EQ(*readWholeFile(home + "/info/a\nb.wav.trashinfo"),
            "[Trash Info]\nPath=" + folder.path().string() +
                "/T%C3%A4ke%20100%25/a%0Ab.wav\nDeletionDate=2026-01-01T12:00:00\n");
  struct stat status {};
  ASSERT_EQ(::stat(home.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);

  make("a\nb.wav", "second");
  EXPECT_EQ(*trash.put(path, now + std::chrono::seconds(1)), home + "/files/a\nb 2.wav");
  const auto entries = trash.entriesOf(takes + "/");
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0], (RecordingTrash::Entry{home + "/files/a\nb 2.wav", path, "2026-01-01T12:00:01"}))
      << "the latest first";
  EXPECT_TRUE(trash.entriesOf(folder.path().string()).empty());

  ASSERT_TRUE(trash.restore(entries[0]));
  EXPECT_EQ(*readWholeFile(path), "second");
  EXPECT_FALSE(trash.restore(entries[1])) << "replaces nothing";
  EXPECT_EQ(*readWholeFile(path), "second");
  EXPECT_EQ(trash.entriesOf(takes).size(), 1u);
  fs::remove_all(takes);
  EXPECT_TRUE(trash.restore(entries[1])) << "makes the folder again";
  EXPECT_EQ(*readWholeFile(path), "first");
  EXPECT_TRUE(fs::is_empty(home + "/info"));
}

TEST_F(RecordingTrashTest, RefusalsLeaveTheFileWhereItIs) {
  EXPECT_FALSE(trash.put(takes + "/none.wav", now));
  const std::string path = make("a.wav", "first");
  fs::create_directories(folder / "elsewhere");
  fs::create_directories(fs::path(home).parent_path());
  fs::create_symlink(folder / "elsewhere", home);
  EXPECT_FALSE(trash.put(path, now)) << "not through a link";
  EXPECT_TRUE(fs::exists(path));
  fs::remove(home);
  fs::create_directories(home + "/info");
  fs::create_directories(home + "/files/a.wav");
  EXPECT_EQ(*trash.put(path, now), home + "/files/a 2.wav") << "a left-over has the name";
  std::ofstream(home + "/info/x.trashinfo") << "[Trash Info]\nPath=%zz%\n";
  std::ofstream(home + "/info/y.trashinfo") << "nonsense";
  EXPECT_EQ(trash.entriesOf(takes).size(), 1u);
  // As other programs escape: in small letters, and not all that should be.
  std::ofstream(home + "/files/z.wav") << "z";
  std::ofstream(home + "/info/z.wav.trashinfo") << "[Trash Info]\nPath=" << folder.path().string()
                                                << "/T%c3%a4ke 100%/50%2\nDeletionDate=2026-01-02T00:00:00\n";
  EXPECT_EQ(trash.entriesOf(takes).at(0).origin, takes + "/50%2");
}

// On another file system the trash is beside the file, with a path relative to its top.
TEST_F(RecordingTrashTest, AFileSystemHasATrashOfItsOwn) {
  char other[] = "/dev/shm/sonmere-test-XXXXXX";
  struct stat here {
  }, there{};
  ASSERT_EQ(::stat(folder.path().c_str(), &here), 0);
  if (!mkdtemp(other) || ::stat(other, &there) != 0 || here.st_dev == there.st_dev)
    GTEST_SKIP() << "there is no other file system here";
  const std::string path = std::string(other) + "/take.wav";
  std::ofstream(path) << "far";
  const auto put = trash.put(path, now);
  ASSERT_TRUE(put) << put.error().description;
  EXPECT_TRUE(put->starts_with("/dev/shm/.Trash")) << *put;
  const auto entries = trash.entriesOf(other);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].origin, path);
  ASSERT_TRUE(trash.restore(entries[0]));
  EXPECT_EQ(*readWholeFile(path), "far");
  fs::remove_all(other);
  fs::remove_all(fs::path(*put).parent_path().parent_path());
}

}  // namespace
}  // namespace sonmere
