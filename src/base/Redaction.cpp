#include "base/Redaction.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>

namespace sonmere {

namespace {

constexpr std::array<std::string_view, 5> kUsersFolders = {"/home/", "/media/", "/mnt/", "/run/media/", "~/"};
// A name as short as this is part of other words.
constexpr std::size_t kShortestName = 2;

bool isPartOfWord(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

void replaceWords(std::string& text, const std::string& word, std::string_view with) {
  if (word.size() < kShortestName) return;
  for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at)) {
    const std::size_t end = at + word.size();
    const bool isWhole =
        (at == 0 || !isPartOfWord(text[at - 1])) && (end == text.size() || !isPartOfWord(text[end]));
    if (isWhole) text.replace(at, word.size(), with);
    at += isWhole ? with.size() : 1;
  }
}

void replaceAll(std::string& text, const std::string& what, std::string_view with) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size()))
    text.replace(at, what.size(), with);
}

// A path ends where its line or the quotes around it end: names of files have blanks.
void hidePaths(std::string& text, std::string_view folder) {
  for (std::size_t at = text.find(folder); at != std::string::npos; at = text.find(folder, at)) {
    at += folder.size();
    const std::size_t end = std::min(text.find_first_of("\"\n'", at), text.size());
    text.replace(at, end - at, "…");
  }
}

}  // namespace

Redaction Redaction::ofUser() {
  Known known;
  std::array<char, 256> host{};
  if (::gethostname(host.data(), host.size() - 1) == 0) known.host = host.data();
  if (const passwd* const entry = ::getpwuid(::getuid())) {
    known.user = entry->pw_name;
    known.home = entry->pw_dir;
  }
  if (const char* const home = std::getenv("HOME"); home && *home == '/') known.home = home;
  return Redaction(std::move(known));
}

std::string Redaction::operator()(std::string text) const {
  if (known_.home.size() > 1) replaceAll(text, known_.home + "/", "~/");
  for (const std::string_view folder : kUsersFolders) hidePaths(text, folder);
  if (known_.home.size() > 1) replaceAll(text, known_.home, "~");
  // "root" tells nothing, and many words are it.
  if (known_.user != "root") replaceWords(text, known_.user, "USER");
  replaceWords(text, known_.host, "HOST");
  return text;
}

}  // namespace sonmere
