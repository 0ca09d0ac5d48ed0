#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/Error.h"

namespace sonmere {

// What a feed of new versions says: a small JSON object with `version`, `url` and `notes`.
struct UpdateOffer {
  std::string version;
  std::string url;    // where it is to be had; may be empty
  std::string notes;  // what is new; may be empty
  bool operator==(const UpdateOffer&) const = default;
};

// Where the package that this program came in says that its feed is: a file's full path or an https address.
// Empty where it says nothing: then there is none to ask.
std::string updateFeed();
// Whom the package names for feedback; may be empty.
std::string feedbackAddress();

// The error says what is wrong with the text.
Outcome<UpdateOffer> parseUpdateFeed(std::string_view text);
// Asks: a file is read, an address is fetched by curl as a process of its own, which sends nothing but the
// request. Threads: any that may wait.
Outcome<UpdateOffer> fetchUpdate(const std::string& feed);

// Whether version `a` is newer than `b`, number by number: "0.10" is newer than "0.9.1".
bool isNewerVersion(std::string_view a, std::string_view b);

}  // namespace sonmere
