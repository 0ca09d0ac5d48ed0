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

Error ambiguity(const std::string& text, const std::vector<const AppName*>& found, const NameWords& words) {
  std::string list;
  for (std::size_t i = 0; i < found.size() && i < kCandidatesShown; ++i)
    list += fmt::format("{}{} ({})", i > 0 ? ", " : "", found[i]->id, found[i]->name);
  if (found.size() > kCandidatesShown) list += ", ...";
  return controlError(ControlFault::ambiguous,
                      fmt::format("\"{}\" fits several {}: {}", text, words.many, list));
}

std::string listed(const std::vector<AppName>& names) {
  std::string list;
  for (std::size_t i = 0; i < names.size() && i < kCandidatesShown; ++i)
    list += (i > 0 ? ", " : "") + names[i].name;
  return names.size() > kCandidatesShown ? list + ", ..." : list;
}

// The one that fits; nothing when none does.
Outcome<std::optional<std::string>> find(const std::string& text, const std::vector<AppName>& names,
                                         const NameWords& words) {
  if (text.empty())
    return std::unexpected(
        controlError(ControlFault::badValue, fmt::format("the {}'s name is empty", words.one)));
  for (const AppName& name : names)
    if (name.id == text) return name.id;
  auto found =
      fitting(names, [&](const AppName& name) { return isSame(name.id, text) || isSame(name.name, text); });
  if (found.empty())
    found = fitting(
        names, [&](const AppName& name) { return contains(name.id, text) || contains(name.name, text); });
  if (found.size() > 1) return std::unexpected(ambiguity(text, found, words));
  return found.empty() ? std::nullopt : std::optional(found.front()->id);
}

}  // namespace

Outcome<std::string> matchApp(const std::string& text, const std::vector<AppName>& apps) {
  auto found = find(text, apps, {"app", "apps"});
  if (!found) return std::unexpected(found.error());
  if (*found) return **found;
  return std::unexpected(controlError(ControlFault::notFound, fmt::format("there is no app \"{}\"", text)));
}

Outcome<std::string> matchName(const std::string& text, const std::vector<AppName>& names,
                               const NameWords& words) {
  auto found = find(text, names, words);
  if (!found) return std::unexpected(found.error());
  if (*found) return **found;
  const std::string list = listed(names);
  return std::unexpected(controlError(
      ControlFault::notFound, fmt::format("there is no {} \"{}\"; {}", words.one, text,
                                          list.empty() ? "there is none at all" : "there is " + list)));
}

}  // namespace sonmere
