#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "audio/file/AudioFileWriter.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;
using Kind = FilePlace::Kind;

// What becomes of a file while it is written, in both forms.
class FilePlaceTest : public testing::TestWithParam<AudioFileSettings::Encoding> {
 protected:
  void SetUp() override { fs::create_directories(folder / "takes"); }
  void create() {
    AudioFileSettings settings;
    settings.encoding = GetParam();
    settings.bitRate = 192000;
    path = (folder / "takes" / "take").string();
    writer = createAudioFile(path, settings).value();
  }
  void expectGone() { EXPECT_EQ(writer->place(), (FilePlace{Kind::gone, path})); }
  void expectMoved(const fs::path& to) { EXPECT_EQ(writer->place(), (FilePlace{Kind::moved, to.string()})); }

  TemporaryFolder folder;
  std::string path;
  std::shared_ptr<AudioFileWriter> writer;
};

TEST_P(FilePlaceTest, IsFollowedWhereverItIsMoved) {
  create();
  EXPECT_EQ(writer->place(), (FilePlace{Kind::there, path}));
  fs::rename(path, folder / "renamed");
  expectMoved(folder / "renamed");
  fs::rename(folder / "renamed", path);
  EXPECT_EQ(writer->place().kind, Kind::there) << "back again";
  fs::rename(folder / "takes", folder / "elsewhere");
  expectMoved(folder / "elsewhere" / "take");
}

TEST_P(FilePlaceTest, IsGoneWhenRemovedReplacedOrInTheTrash) {
  create();
  fs::remove(path);
  expectGone();
  std::ofstream(path) << "another";
  expectGone();
  fs::remove_all(folder / "takes");
  expectGone();

  fs::create_directories(folder / "takes");
  create();
  std::ofstream(folder / "another") << "another";
  fs::rename(folder / "another", path);
  expectGone();

  fs::remove(path);
  create();
  fs::create_directories(folder / "Trash" / "files");
  fs::rename(path, folder / "Trash" / "files" / "take");
  expectGone();
}

INSTANTIATE_TEST_SUITE_P(Forms, FilePlaceTest,
                         testing::Values(AudioFileSettings::Encoding::linearPCM,
                                         AudioFileSettings::Encoding::aac),
                         [](const auto& form) {
                           return form.param == AudioFileSettings::Encoding::aac ? "M4A" : "WAV";
                         });

}  // namespace
}  // namespace sonmere
