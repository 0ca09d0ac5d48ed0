#include "recording/library/RecordingChoice.h"

#include <gtest/gtest.h>

namespace sonmere {
namespace {

RecordingFile take(const std::string& name, const std::string& stamp) {
  RecordingFile file;
  file.url = "/takes/Sonmere " + name + " \u2014 " + stamp + ".wav";
  file.displayName = name;
  return file;
}

class RecordingChoiceTest : public testing::Test {
 protected:
  // What a text means: the file's path, or why it means none.
  std::string recording(const std::string& text) const {
    const auto file = chooseRecording(sessions, text);
    return file ? (*file)->url : "! " + file.error().description;
  }
  std::string session(const std::string& text) const {
    const auto found = chooseSession(sessions, text);
    return found ? (*found)->timestampString : "! " + found.error().description;
  }

  const std::string newest = "2026-03-02 10-00-00", older = "2026-03-01 09-00-00",
                    oldest = "2025-01-01 08-00-00";
  const std::vector<RecordingSession> sessions = {
      {newest, {}, {take("Track 1", newest), take("Track 2", newest)}},
      {older, {}, {take("Track 1", older)}},
      {oldest, {}, {take("Interview", oldest)}}};
};

TEST_F(RecordingChoiceTest, NumbersAndLatestAreThoseOfTheList) {
  EXPECT_EQ(recording("1.2"), sessions[0].files[1].url);
  EXPECT_EQ(recording("latest.1"), sessions[0].files[0].url);
  EXPECT_EQ(recording("2"), sessions[1].files[0].url);
  EXPECT_EQ(recording("latest"), "! session 1 has 2 files; name one of them from 1.1 to 1.2");
  EXPECT_EQ(recording("1.3"), recording("1"));
  EXPECT_EQ(recording("4"), "! there is no session 4; the list ends with 3");
  for (const std::string nothing :
       {"", "0", "1.0", "-1", "1.", ".1", "latest.", "1.1.1", "99999999999999999999"})
    EXPECT_TRUE(recording(nothing).starts_with("! ")) << nothing;
  EXPECT_EQ(session("latest"), newest);
  EXPECT_EQ(session("3"), oldest);
  EXPECT_EQ(session("4"), "! there is no session 4; the list ends with 3");
}

TEST_F(RecordingChoiceTest, NamesAndStampsMustFitOneAlone) {
  EXPECT_EQ(recording("Interview"), sessions[2].files[0].url);
  EXPECT_EQ(recording("Sonmere Inter"), sessions[2].files[0].url);
  EXPECT_EQ(recording("Sonmere Track 1 \u2014 2026-03-01"), sessions[1].files[0].url);
  EXPECT_EQ(recording("Track 1"), "! \"Track 1\" fits several recordings: \"Sonmere Track 1 \u2014 " +
                                      newest + ".wav\", \"Sonmere Track 1 \u2014 " + older + ".wav\"");
  EXPECT_EQ(recording(older), sessions[1].files[0].url);
  EXPECT_EQ(recording("Track 9"), "! there is no recording \"Track 9\"");
  EXPECT_EQ(session("2025"), oldest) << "a year is no number of the list";
  EXPECT_EQ(session("2026-03-01"), older);
  EXPECT_EQ(session("2026"), "! \"2026\" fits several sessions: \"" + newest + "\", \"" + older + "\"");
  EXPECT_EQ(session(""), "! there is no session \"\"");
  EXPECT_EQ(*chooseSession(sessions, newest), &sessions[0]);
  EXPECT_FALSE(chooseSession({}, "latest"));
}

}  // namespace
}  // namespace sonmere
