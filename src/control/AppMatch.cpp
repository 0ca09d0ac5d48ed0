#include "control/AppMatch.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>

#include "control/ControlError.h"

namespace sonmere {

namespace {

constexpr std::size_t kCandidatesShown = 10;

bool isSame(const std::string& a, const std::string& b) { return strcasecmp(a.c_str(), b.c_str()) == 0; }

char lower(char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; }

bool contains(const std::string& text, const std::string& part) {
  return !std::ranges::search(text, part, {}, lower, lower).empty();
}

template <class Fits>
std::vector<const AppName*> fitting(const std::vector<AppName>& apps, Fits&& fits) {
  std::vector<const AppName*> found;
  for (const AppName& app : apps)
    if (fits(app)) found.push_back(&app);
  return found;
}

Error ambiguity(const std::string& text, const std::vector<const AppName*>& found) {
  std::string list;
  for (std::size_t i = 0; i < found.size() && i < kCandidatesShown; ++i)
    list += fmt::format("{}{} ({})", i > 0 ? ", " : "", found[i]->id, found[i]->name);
  if (found.size() > kCandidatesShown) list += ", ...";
  return controlError(ControlFault::ambiguous, fmt::format("\"{}\" fits several apps: {}", text, list));
}

}  // namespace

Outcome<std::string> matchApp(const std::string& text, const std::vector<AppName>& apps) {
  if (text.empty()) return std::unexpected(controlError(ControlFault::badValue, "the app's name is empty"));
  for (const AppName& app : apps)
    if (app.id == text) return app.id;
  auto found =
      fitting(apps, [&](const AppName& app) { return isSame(app.id, text) || isSame(app.name, text); });
  if (found.empty())
    found =
        fitting(apps, [&](const AppName& app) { return contains(app.id, text) || contains(app.name, text); });
  if (found.size() == 1) return found.front()->id;
  if (!found.empty()) return std::unexpected(ambiguity(text, found));
  return std::unexpected(
      controlError(ControlFault::notFound,
                   fmt::format("there is no app \"{}\"; sonmere apps lists those there are", text)));
}

}  // namespace sonmere
