#pragma once

#include <string>

#include "base/Time.h"
#include "recording/RecordingFormat.h"

namespace sonmere {

// "yyyy-MM-dd HH-mm-ss" in local time: what groups the files of one session.
std::string recordingStamp(Date date);

// "{name} — {stamp}.{ext}". The library finds recordings by this form alone.
std::string recordingFileName(const std::string& name, Date date, RecordingFormat format);

// Path of a file that isn't there yet. When the name is taken, by two takes within one second, a number is
// added to the name in front of the stamp ("Sonmere Track 1 2 — …"), where the form still holds.
std::string freeRecordingPath(const std::string& folder, const std::string& name, Date date,
                              RecordingFormat format);

}  // namespace sonmere
