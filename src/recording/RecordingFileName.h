#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/Time.h"
#include "recording/RecordingFormat.h"

namespace sonmere {

// "yyyy-MM-dd HH-mm-ss" in local time: what groups the files of one session.
std::string recordingStamp(Date date);
// The stamp read back in local time; nothing for one that names no date ("2026-02-30 …", "… 24-00-00").
std::optional<Date> dateOfStamp(std::string_view stamp);

// "{name} — {stamp}.{ext}". The library finds recordings by this form alone.
std::string recordingFileName(const std::string& name, Date date, RecordingFormat format);

// What a name of that form says. The views are into the name that was read.
struct RecordingNameParts {
  std::string_view name;   // all in front of the last separator
  std::string_view stamp;  // digits in their places; need not be a date
  RecordingFormat format;
};

// Nothing for a file of any other name. The form is kept to exactly: one space on both sides of the dash,
// ASCII digits, a lower-case extension, no line end in the name.
std::optional<RecordingNameParts> parseRecordingName(std::string_view fileName);
// The name as it is shown: without the "Sonmere " that the program's own files begin with.
std::string_view recordingDisplayName(std::string_view name);

// The name of a part of a recording, which is one file after the other: "{name} Part 2" and so on; the first
// one bears the name alone.
std::string recordingPartName(const std::string& name, int part);
struct RecordingPart {
  std::string_view name;  // of the whole, into what was read
  int part = 0;           // 2 or more
};
// Nothing for any other name.
std::optional<RecordingPart> parseRecordingPart(std::string_view name);

// Path of a file that isn't there yet. When the name is taken, by two takes within one second, a number is
// added to the name in front of the stamp ("Sonmere Track 1 2 — …"), where the form still holds.
std::string freeRecordingPath(const std::string& folder, const std::string& name, Date date,
                              RecordingFormat format);

}  // namespace sonmere
