#include "platform/desktop/DesktopEntry.h"

#include <algorithm>
#include <array>
#include <map>

namespace sonmere {

namespace {

using Keys = std::map<std::string, std::string, std::less<>>;

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Values of type string know \s, \n, \t, \r and \\.
std::string unescaped(std::string_view value) {
  std::string text;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] != '\\' || i + 1 == value.size()) {
      text += value[i];
      continue;
    }
    switch (value[++i]) {
      case 's':
        text += ' ';
        break;
      case 'n':
        text += '\n';
        break;
      case 't':
        text += '\t';
        break;
      case 'r':
        text += '\r';
        break;
      case '\\':
        text += '\\';
        break;
      default:
        (text += '\\') += value[i];
    }
  }
  return text;
}

Keys readMainGroup(std::string_view text) {
  Keys keys;
  bool isInGroup = false;
  while (!text.empty()) {
    const auto end = text.find('\n');
    const std::string_view line = trimmed(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.starts_with('[')) {
      if (isInGroup) break;
      isInGroup = line == "[Desktop Entry]";
    }
    const auto equals = line.find('=');
    if (!isInGroup || line.starts_with('#') || equals == std::string_view::npos) continue;
    keys.emplace(trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
  }
  return keys;
}

std::string value(const Keys& keys, std::string_view key) {
  const auto found = keys.find(key);
  return found == keys.end() ? std::string() : unescaped(found->second);
}

bool isTrue(const Keys& keys, std::string_view key) { return value(keys, key) == "true"; }

// Best first: lang_COUNTRY@MODIFIER, lang_COUNTRY, lang@MODIFIER, lang.
std::string localised(const Keys& keys, const std::string& key, std::string_view locale) {
  const auto at = locale.find('@');
  const std::string modifier(at == std::string_view::npos ? "" : locale.substr(at));
  const std::string place(locale.substr(0, std::min(at, locale.find('.'))));
  const std::string language = place.substr(0, place.find('_'));
  for (const std::string& each : {place + modifier, place, language + modifier, language})
    if (auto text = value(keys, key + '[' + each + ']'); !text.empty()) return text;
  return value(keys, key);
}

// One argument without its field codes. %% is a percent sign, %c the name, %k the file; the rest stand for
// files, or mean nothing any more.
std::string withoutFieldCodes(std::string_view argument, const DesktopEntry& entry) {
  std::string text;
  for (std::size_t i = 0; i < argument.size(); ++i) {
    if (argument[i] != '%' || i + 1 == argument.size()) {
      text += argument[i];
      continue;
    }
    switch (argument[++i]) {
      case '%':
        text += '%';
        break;
      case 'c':
        text += entry.name;
        break;
      case 'k':
        text += entry.file;
        break;
      default:
        break;
    }
  }
  return text;
}

// Takes one argument off the front of an Exec line; false when a quote does not close.
bool takeArgument(std::string_view& line, std::string& argument, bool& isQuoted) {
  argument.clear();
  isQuoted = false;
  bool isInQuotes = false;
  std::size_t i = 0;
  for (; i < line.size() && (isInQuotes || (line[i] != ' ' && line[i] != '\t')); ++i) {
    if (line[i] == '"') {
      isInQuotes = !isInQuotes;
      isQuoted = true;
    } else if (isInQuotes && line[i] == '\\' && i + 1 < line.size()) {
      argument += line[++i];
    } else {
      argument += line[i];
    }
  }
  line.remove_prefix(i);
  return !isInQuotes;
}

}  // namespace

std::optional<DesktopEntry> parseDesktopEntry(std::string_view text, std::string_view id,
                                              std::string_view locale) {
  const Keys keys = readMainGroup(text);
  DesktopEntry entry;
  entry.id = id;
  entry.hidden = isTrue(keys, "Hidden");
  if (entry.hidden) return entry;
  entry.name = localised(keys, "Name", locale);
  if (value(keys, "Type") != "Application" || entry.name.empty()) return std::nullopt;
  entry.icon = localised(keys, "Icon", locale);
  entry.exec = value(keys, "Exec");
  entry.path = value(keys, "Path");
  entry.wmClass = value(keys, "StartupWMClass");
  entry.noDisplay = isTrue(keys, "NoDisplay");
  entry.needsTerminal = isTrue(keys, "Terminal");
  entry.isAutostartEnabled = value(keys, "X-GNOME-Autostart-enabled") != "false";
  entry.isTerminal = (";" + value(keys, "Categories") + ";").find(";TerminalEmulator;") != std::string::npos;
  return entry;
}

std::optional<std::vector<std::string>> execArguments(const DesktopEntry& entry) {
  std::vector<std::string> arguments;
  std::string argument;
  bool isQuoted = false;
  for (std::string_view line = trimmed(entry.exec); !line.empty(); line = trimmed(line)) {
    if (!takeArgument(line, argument, isQuoted)) return std::nullopt;
    if (argument == "%i" && !isQuoted) {
      if (!entry.icon.empty()) arguments.insert(arguments.end(), {"--icon", entry.icon});
      continue;
    }
    std::string plain = withoutFieldCodes(argument, entry);
    // An argument that was nothing but a code for files is no argument.
    if (!plain.empty() || argument.empty()) arguments.push_back(std::move(plain));
  }
  if (arguments.empty() || arguments.front().empty()) return std::nullopt;
  return arguments;
}

}  // namespace sonmere
