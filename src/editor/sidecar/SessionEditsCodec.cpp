#include "editor/sidecar/SessionEditsCodec.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>

#include "base/UTF8.h"

namespace sonmere::SessionEditsCodec {

namespace {

using JSON = nlohmann::json;

constexpr int kDeepestNesting = 32;

// Why a document is not one of ours.
struct Unfit {
  std::string reason;
};

// Notices what the library lets pass: keys that stand twice, and nesting that would exhaust the stack of
// whoever walks it. Stops at the latter.
class DocumentCheck {
 public:
  bool operator()(int depth, JSON::parse_event_t event, JSON& parsed) {
    isTooDeep_ |= depth > kDeepestNesting;
    if (event == JSON::parse_event_t::object_start) keys_.emplace_back();
    if (event == JSON::parse_event_t::object_end && !keys_.empty()) keys_.pop_back();
    if (event == JSON::parse_event_t::key && !keys_.empty() && !isTooDeep_)
      hasDuplicate_ |= !keys_.back().insert(parsed.get_ref<const std::string&>()).second;
    return !isTooDeep_;
  }
  void requireFlat() const {
    if (isTooDeep_) throw Unfit{"it is nested too deeply"};
  }
  bool hasDuplicate() const { return hasDuplicate_; }

 private:
  std::vector<std::set<std::string>> keys_;
  bool isTooDeep_ = false;
  bool hasDuplicate_ = false;
};

JSON parse(std::string_view text) {
  DocumentCheck check;
  JSON document;
  try {
    document = JSON::parse(text, std::ref(check));
  } catch (const JSON::exception&) {
    check.requireFlat();  // the better reason
    throw;
  }
  check.requireFlat();
  if (!document.is_object()) throw Unfit{"it is not an object"};
  return document;
}

const JSON* find(const JSON& object, const char* key) {
  const auto found = object.find(key);
  return found == object.end() || found->is_null() ? nullptr : &*found;
}

[[noreturn]] void refuse(const char* key, const char* expected) {
  throw Unfit{fmt::format("\"{}\" is not {}", key, expected)};
}

std::int64_t whole(const JSON& value, const char* key) {
  if (value.is_number_unsigned() &&
      value.get<std::uint64_t>() > std::uint64_t(std::numeric_limits<std::int64_t>::max()))
    refuse(key, "a whole number of 64 bits");
  if (value.is_number_integer()) return value.get<std::int64_t>();
  if (value.is_number_float()) {
    const double number = value.get<double>();
    // 2^63 is the first that does not fit.
    if (number == std::trunc(number) && std::fabs(number) < 9223372036854775808.0)
      return std::int64_t(number);
  }
  refuse(key, "a whole number of 64 bits");
}

float number(const JSON& value, const char* key) {
  if (!value.is_number()) refuse(key, "a number");
  const double number = value.get<double>();
  if (!(std::fabs(number) <= double(std::numeric_limits<float>::max()))) refuse(key, "a number of 32 bits");
  return float(number);
}

bool flag(const JSON& value, const char* key) {
  if (!value.is_boolean()) refuse(key, "true or false");
  return value.get<bool>();
}

const std::string& text(const JSON& value, const char* key) {
  if (!value.is_string()) refuse(key, "a text");
  return value.get_ref<const std::string&>();
}

const JSON& object(const JSON& value, const char* key) {
  if (!value.is_object()) refuse(key, "an object");
  return value;
}

PersistedTrackEdits decodeTrack(const JSON& track) {
  PersistedTrackEdits edits;
  if (const JSON* value = find(track, "trimStartFrame"))
    edits.trimStartFrame = whole(*value, "trimStartFrame");
  if (const JSON* value = find(track, "trimEndFrame")) edits.trimEndFrame = whole(*value, "trimEndFrame");
  if (const JSON* value = find(track, "fadeInFrames")) edits.fadeInFrames = whole(*value, "fadeInFrames");
  if (const JSON* value = find(track, "fadeOutFrames")) edits.fadeOutFrames = whole(*value, "fadeOutFrames");
  if (const JSON* value = find(track, "gainLinear")) edits.gainLinear = number(*value, "gainLinear");
  if (const JSON* value = find(track, "soloed")) edits.soloed = flag(*value, "soloed");
  if (const JSON* value = find(track, "muted")) edits.muted = flag(*value, "muted");
  return edits;
}

constexpr std::string_view kBytesPrefix = "/bytes/";

std::string keyOf(const std::string& fileName) {
  if (isUTF8(fileName)) return fileName;
  std::string key(kBytesPrefix);
  for (const char c : fileName) {
    const auto byte = static_cast<unsigned char>(c);
    key += byte < 0x80 && c != '%' ? std::string(1, c) : fmt::format("%{:02X}", byte);
  }
  return key;
}

// A key that `keyOf` does not make is no name of ours, and stands for itself.
std::string fileNameOf(const std::string& key) {
  if (!key.starts_with(kBytesPrefix)) return key;
  std::string name;
  for (std::size_t at = kBytesPrefix.size(); at < key.size(); ++at) {
    unsigned byte = 0;
    const char* const digits = key.data() + at + 1;
    const bool isByte = key[at] == '%' && at + 2 < key.size() &&
                        std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
    name += isByte ? char(byte) : key[at];
    if (isByte) at += 2;
  }
  return keyOf(name) == key ? name : key;
}

std::vector<std::string> decodeNames(const JSON& list) {
  if (!list.is_array()) refuse("addedTracks", "a list of file names for each session");
  std::vector<std::string> names;
  for (const JSON& each : list) names.push_back(fileNameOf(text(each, "addedTracks")));
  return names;
}

// The version stands above all: of a later one nothing else is looked at.
std::int64_t versionOf(const JSON& document) {
  const JSON* version = find(document, "schemaVersion");
  if (!version) throw Unfit{"it has no \"schemaVersion\""};
  return whole(*version, "schemaVersion");
}

PersistedSessionEdits decodeDocument(const JSON& document) {
  PersistedSessionEdits edits;
  if (const JSON* stamp = find(document, "sessionTimestamp"))
    edits.sessionTimestamp = text(*stamp, "sessionTimestamp");
  if (const JSON* tracks = find(document, "tracks"))
    for (const auto& [name, track] : object(*tracks, "tracks").items())
      edits.tracks[fileNameOf(name)] = decodeTrack(object(track, name.c_str()));
  if (const JSON* added = find(document, "addedTracks"))
    for (const auto& [stamp, names] : object(*added, "addedTracks").items())
      edits.addedTracks[stamp] = decodeNames(names);
  return edits;
}

std::unexpected<Error> failure(const std::string& reason) {
  return std::unexpected(Error{"SessionEditsCodec", 1, reason});
}

// Nothing, unless it is a sound document of our version.
JSON documentToKeep(std::string_view previous) {
  if (!decode(previous)) return JSON::object();
  return parse(previous);
}

// As short as a float can be told: 0.3, not 0.30000001192092896.
double shortest(float value) {
  const std::string text = fmt::format("{}", value);
  double number = value;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

void encodeTrack(const PersistedTrackEdits& edits, JSON& track) {
  track["trimStartFrame"] = edits.trimStartFrame;
  if (edits.trimEndFrame)
    track["trimEndFrame"] = *edits.trimEndFrame;
  else
    track.erase("trimEndFrame");
  track["fadeInFrames"] = edits.fadeInFrames;
  track["fadeOutFrames"] = edits.fadeOutFrames;
  track["gainLinear"] = shortest(edits.gainLinear);
  track["soloed"] = edits.soloed;
  track["muted"] = edits.muted;
}

// A session without any has no entry.
void encodeAddedTracks(const std::map<std::string, std::vector<std::string>>& addedTracks, JSON& document) {
  JSON& lists = document["addedTracks"];
  if (lists.is_null()) lists = JSON::object();
  for (const auto& [stamp, names] : addedTracks) {
    lists.erase(stamp);
    for (const std::string& name : names) lists[stamp].push_back(keyOf(name));
  }
  if (lists.empty()) document.erase("addedTracks");
}

// Entries of the new name are left from a file that is gone.
bool renameTrack(JSON& tracks, const std::string& from, const std::string& to) {
  JSON edits;
  const auto found = tracks.find(from);
  const bool isFound = found != tracks.end();
  if (isFound) {
    edits = std::move(*found);
    tracks.erase(found);
  }
  const bool wasThere = tracks.erase(to) > 0;
  if (isFound) tracks[to] = std::move(edits);
  return isFound || wasThere;
}

bool renameAdded(JSON& lists, const std::string& from, const std::string& to) {
  bool isChanged = false;
  for (JSON& names : lists)
    for (JSON& name : names)
      if (name == from) {
        name = to;
        isChanged = true;
      }
  return isChanged;
}

// No text in it is anything but UTF-8.
std::string text(const JSON& document) {
  return document.dump(2, ' ', false, JSON::error_handler_t::replace) + "\n";
}

}  // namespace

Outcome<PersistedSessionEdits> decode(std::string_view json) {
  try {
    const JSON document = parse(json);
    const std::int64_t version = versionOf(document);
    if (version > PersistedSessionEdits::kSchemaVersion)
      return std::unexpected(Error{kNewerSchemaDomain, version, "it is of a later version"});
    return decodeDocument(document);
  } catch (const Unfit& unfit) {
    return failure(unfit.reason);
  } catch (const JSON::exception& error) {
    return failure(error.what());
  }
}

bool hasNoKeyTwice(std::string_view json) {
  DocumentCheck check;
  const JSON parsed = JSON::parse(json, std::ref(check), false);
  return !parsed.is_discarded() && !check.hasDuplicate();
}

bool keepsAll(std::string_view json) { return decode(json) && hasNoKeyTwice(json); }

std::string encode(const PersistedSessionEdits& edits, std::string_view previous,
                   const std::function<bool(const std::string&)>& exists) {
  JSON document = documentToKeep(previous);
  JSON tracks = document.value("tracks", JSON()).is_object() ? document["tracks"] : JSON::object();
  for (auto track = tracks.begin(); track != tracks.end();) {
    const std::string name = fileNameOf(track.key());
    track = edits.tracks.contains(name) || exists(name) ? std::next(track) : tracks.erase(track);
  }
  for (const auto& [name, track] : edits.tracks) encodeTrack(track, tracks[keyOf(name)]);
  document["schemaVersion"] = PersistedSessionEdits::kSchemaVersion;
  document["sessionTimestamp"] = edits.sessionTimestamp;
  document["tracks"] = std::move(tracks);
  encodeAddedTracks(edits.addedTracks, document);
  return text(document);
}

std::optional<std::string> withFileRenamed(std::string_view json, const std::string& from,
                                           const std::string& to) {
  if (from == to || !decode(json)) return std::nullopt;
  JSON document = parse(json);
  bool isChanged = false;
  if (JSON& tracks = document["tracks"]; tracks.is_object())
    isChanged |= renameTrack(tracks, keyOf(from), keyOf(to));
  if (document.contains("addedTracks"))
    isChanged |= renameAdded(document["addedTracks"], keyOf(from), keyOf(to));
  return isChanged ? std::optional(text(document)) : std::nullopt;
}

}  // namespace sonmere::SessionEditsCodec
