#include "base/Redaction.h"

#include <gtest/gtest.h>

#include "base/TarText.h"

namespace sonmere {
namespace {

TEST(Redaction, WhatTellsOfTheUserIsGoneAndTheRestStays) {
  const Redaction redact({"ann", "lighthouse", "/home/ann"});
  EXPECT_EQ(redact("ann@lighthouse plays to Annex, planned by ann"),
            "USER@HOST plays to Annex, planned by USER");
  EXPECT_EQ(redact("file \"/home/ann/Music/My Song.flac\", /usr/bin/player"),
            "file \"~/…\", /usr/bin/player");
  EXPECT_EQ(redact("at /media/ann/stick/Take 1.wav\nnext"), "at /media/…\nnext");
  EXPECT_EQ(redact("HOME=/home/ann"), "HOME=/home/…");
  EXPECT_EQ(redact("'/home/berta/x' and ~/.config/sonmere"), "'/home/…' and ~/…");
  EXPECT_EQ(redact("Speakers, 48000 Hz"), "Speakers, 48000 Hz");
  const Redaction ofRoot({"root", "h", "/root"});
  EXPECT_EQ(ofRoot("the root of /root/x, h"), "the root of ~/…");
}

// As the system's own program writes it: a header of known fields, the bytes, and padding.
TEST(TarText, AFileIsAHeaderAndItsBytesInBlocks) {
  const std::string archive = tarText({{"a.txt", "hello"}, {"empty", ""}}, Date(std::chrono::seconds(1)));
  ASSERT_EQ(archive.size(), 512u * 5);
  EXPECT_STREQ(archive.c_str(), "a.txt");
  EXPECT_EQ(archive.substr(124, 11), "00000000005");
  EXPECT_EQ(archive.substr(136, 11), "00000000001");
  EXPECT_EQ(archive.substr(257, 5), "ustar");
  EXPECT_EQ(archive.substr(512, 6), std::string("hello\0", 6));
  EXPECT_STREQ(archive.c_str() + 1024, "empty");
  unsigned sum = 8 * ' ';
  for (std::size_t i = 0; i < 512; ++i)
    sum += i < 148 || i >= 156 ? static_cast<unsigned char>(archive[i]) : 0;
  EXPECT_EQ(std::stoul(archive.substr(148, 6), nullptr, 8), sum);
}

}  // namespace
}  // namespace sonmere
