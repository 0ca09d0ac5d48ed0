#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/Error.h"
#include "editor/sidecar/PersistedSessionEdits.h"

namespace sonmere {

// The JSON of a session's edits. Names of files are bytes, and JSON is UTF-8: one that is none stands as
// "/bytes/" and its bytes, those beyond ASCII and "%" as "%" and two hexadecimal digits. No name of a file
// has a "/" in it. Threads: any but a render thread.
namespace SessionEditsCodec {

// Of the error for a document of a later version than ours; its code is that version.
inline constexpr const char* kNewerSchemaDomain = "SessionEditsCodec.newerSchema";

// Anything that is not exactly such a document is an error: other types, numbers out of their type's range,
// nesting deeper than 32. Unknown keys are passed over; of a key that stands twice the last counts.
Outcome<PersistedSessionEdits> decode(std::string_view json);
bool hasNoKeyTwice(std::string_view json);
// Whether `encode` loses nothing of this document as its previous one.
bool keepsAll(std::string_view json);

// Pretty-printed with sorted keys. Keys of `previous`, the document that stands there now, that this program
// does not know are kept, in the document and in its tracks, and so are the entries of other tracks for which
// `exists` holds. A previous document that can't be read, or of a later version, counts as none.
std::string encode(const PersistedSessionEdits& edits, std::string_view previous,
                   const std::function<bool(const std::string& fileName)>& exists);

// The document with a file under another name and all else as it is, keys that this program does not know
// too. Nothing when it does not name the file, or is none of ours.
std::optional<std::string> withFileRenamed(std::string_view json, const std::string& from,
                                           const std::string& to);

}  // namespace SessionEditsCodec
}  // namespace sonmere
