#include "app/PlatformUpdates.h"

#include <fmt/format.h>
#include <stdlib.h>
#include <unistd.h>

#include <charconv>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "app/Resources.h"
#include "base/AtomicFile.h"
#include "base/PrintableText.h"
#include "base/SettingsLevels.h"
#include "platform/desktop/ChildProcess.h"

namespace sonmere {

namespace {

using JSON = nlohmann::json;

constexpr std::size_t kMostBytes = 64 << 10, kLongestVersion = 40;
constexpr const char* kSafe = "https://";

std::unexpected<Error> cant(std::string why) { return std::unexpected(Error{"Updates", 1, std::move(why)}); }

// The first line of a file that packagers add to the resources.
std::string resourceLine(const char* name) {
  const auto folder = resourceFolder();
  const auto text = folder ? readWholeFile(*folder + "/" + name) : std::unexpected(folder.error());
  return text ? printable(text->substr(0, text->find('\n'))) : "";
}

std::string lineIn(const JSON& feed, const char* name) {
  const auto found = feed.find(name);
  return found != feed.end() && found->is_string() ? printable(found->get<std::string>()) : "";
}

// A private file that goes with the object.
class Scratch {
 public:
  Scratch() {
    std::string name = (std::filesystem::temp_directory_path() / "sonmere-XXXXXX").string();
    const int file = ::mkstemp(name.data());
    if (file < 0) return;
    ::close(file);
    path = name;
  }
  ~Scratch() {
    std::error_code ignored;
    if (!path.empty()) std::filesystem::remove(path, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  std::string path;
};

// The service itself may not reach a network; its manager starts for it what may.
std::vector<std::string> outsideOfService() {
  const std::string program = std::getenv("NOTIFY_SOCKET") ? findInPath("systemd-run") : "";
  if (program.empty()) return {};
  return {program, "--user", "--quiet", "--wait", "--pipe", "--collect"};
}

Outcome<std::string> fetched(const std::string& address) {
  const std::string curl = findInPath("curl");
  if (curl.empty()) return cant("the program curl, which would fetch the feed, is not installed");
  const Scratch scratch;
  if (scratch.path.empty()) return cant("there is no room for temporary files");
  std::vector<std::string> words = outsideOfService();
  // Without the user's own configuration, name or cookies.
  for (const std::string& word : std::initializer_list<std::string>{
           curl, "--disable", "--silent", "--show-error", "--fail", "--location", "--proto", "=https",
           "--max-time", "20", "--max-filesize", std::to_string(kMostBytes), "--user-agent", "sonmere",
           "--output", scratch.path, "--", address})
    words.push_back(word);
  const ChildOutcome outcome = runToEnd(words, [](pid_t) {});
  if (outcome.error == 0 && outcome.exitStatus == 0) return readWholeFile(scratch.path);
  std::string why = outcome.error ? "curl could not be started" : outcome.errorText;
  while (why.ends_with('\n')) why.pop_back();
  return cant("the feed could not be fetched: " + why);
}

}  // namespace

std::string updateFeed() { return resourceLine("update-feed"); }
std::string feedbackAddress() { return resourceLine("feedback-address"); }

Outcome<UpdateOffer> parseUpdateFeed(std::string_view text) {
  if (text.size() > kMostBytes || isNestedTooDeeply(text)) return cant("the feed is damaged");
  const JSON feed = JSON::parse(text, nullptr, false);
  if (!feed.is_object()) return cant("the feed is no JSON object");
  UpdateOffer offer{lineIn(feed, "version"), lineIn(feed, "url"), lineIn(feed, "notes")};
  const bool isVersion = !offer.version.empty() && offer.version.size() <= kLongestVersion &&
                         offer.version.find_first_not_of("0123456789.") == std::string::npos;
  if (!isVersion) return cant("the feed names no version");
  if (!offer.url.starts_with(kSafe)) offer.url.clear();
  return offer;
}

Outcome<UpdateOffer> fetchUpdate(const std::string& feed) {
  if (feed.empty()) return cant("this package names no feed of new versions");
  const bool isFile = feed.starts_with('/');
  if (!isFile && !feed.starts_with(kSafe))
    return cant(fmt::format("\"{}\" is neither a full path nor an https address", feed));
  const auto text = isFile ? readWholeFile(feed) : fetched(feed);
  if (!text) return std::unexpected(text.error());
  return parseUpdateFeed(*text);
}

bool isNewerVersion(std::string_view a, std::string_view b) {
  const auto next = [](std::string_view& version) {
    const auto dot = version.find('.');
    const std::string_view part = version.substr(0, dot);
    unsigned long number = 0;
    std::from_chars(part.data(), part.data() + part.size(), number);
    version = dot == std::string_view::npos ? std::string_view() : version.substr(dot + 1);
    return number;
  };
  while (!a.empty() || !b.empty()) {
    const auto left = next(a), right = next(b);
    if (left != right) return left > right;
  }
  return false;
}

}  // namespace sonmere
