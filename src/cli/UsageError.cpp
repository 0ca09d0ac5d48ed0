#include "cli/UsageError.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/NearestText.h"

namespace sonmere {

namespace {

using Option = CommandTree::Option;

std::string withPath(const std::string& path, const std::string& name) {
  return path.empty() ? name : path + " " + name;
}

std::string listOf(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

std::vector<std::string> commandNames(const CommandTree& command) {
  std::vector<std::string> names;
  for (const CommandTree& each : command.commands) names.push_back(each.name);
  return names;
}

std::vector<std::string> optionNames(const CommandTree& command) {
  std::vector<std::string> names;
  for (const Option& option : command.options)
    if (!option.isPositional) names.insert(names.end(), option.names.begin(), option.names.end());
  return names;
}

// All of a few; of many those that are near.
std::string suggestion(const std::string& word, const std::vector<std::string>& names) {
  constexpr std::size_t kFew = 6;
  if (const auto near = nearestText(word, names)) return fmt::format("; did you mean {}?", *near);
  return names.size() <= kFew && !names.empty() ? "; there are " + listOf(names) : "";
}

// The words one by one, as far as they make sense.
class UsageReader {
 public:
  explicit UsageReader(const CommandTree& tree) : command_(&tree) {}

  std::optional<UsageError> read(const std::vector<std::string>& words) {
    for (const std::string& word : words)
      if (auto error = take(word)) return error;
    return missing();
  }

 private:
  std::optional<UsageError> take(const std::string& word) {
    if (std::exchange(skipsValue_, false)) return std::nullopt;
    if (word == "--" && !onlyPositionals_) {
      onlyPositionals_ = true;
      return std::nullopt;
    }
    const bool isNumber = word.size() > 1 && ((word[1] >= '0' && word[1] <= '9') || word[1] == '.');
    if (word.size() > 1 && word[0] == '-' && !isNumber && !onlyPositionals_) return takeOption(word);
    return takeWord(word);
  }

  std::optional<UsageError> takeOption(const std::string& word) {
    const std::string name = word.substr(0, word.find('='));
    const auto found = std::ranges::find_if(command_->options, [&](const Option& option) {
      return !option.isPositional && std::ranges::find(option.names, name) != option.names.end();
    });
    if (found == command_->options.end())
      return error(fmt::format("there is no option {}{}", name, suggestion(name, optionNames(*command_))));
    skipsValue_ = !found->value.empty() && !found->isValueOptional && name.size() == word.size();
    open_ = name + " needs a value: " + found->value.substr(0, found->value.find(':'));
    return std::nullopt;
  }

  std::optional<UsageError> takeWord(const std::string& word) {
    const auto found = std::ranges::find(command_->commands, word, &CommandTree::name);
    if (count_ == 0 && found != command_->commands.end()) {
      command_ = &*found;
      path_ = withPath(path_, word);
      return std::nullopt;
    }
    ++count_;
    if (const Option* last = lastPositional(); last && (last->isRepeated || count_ <= positionals()))
      return std::nullopt;
    if (!command_->commands.empty() && count_ == 1)
      return error(
          fmt::format("there is no command \"{}\"{}", word, suggestion(word, commandNames(*command_))));
    return error(fmt::format("\"{}\" is one too many; write {}", word, usage()));
  }

  std::optional<UsageError> missing() const {
    if (skipsValue_) return error(open_);
    if (command_->needsCommand && count_ == 0)
      return error(fmt::format("say what to do: {}", listOf(commandNames(*command_))));
    std::size_t index = 0;
    for (const Option& option : command_->options) {
      if (option.isPositional && index++ >= count_ && option.isRequired)
        return error(fmt::format("{} is missing; write {}", option.names.front(), usage()));
    }
    return std::nullopt;
  }

  const Option* lastPositional() const {
    const Option* last = nullptr;
    for (const Option& option : command_->options)
      if (option.isPositional) last = &option;
    return last;
  }
  std::size_t positionals() const {
    return std::size_t(std::ranges::count_if(command_->options, &Option::isPositional));
  }
  std::string usage() const { return usageText(*command_, withPath("sonmere", path_)); }
  std::optional<UsageError> error(std::string text) const { return UsageError{path_, std::move(text)}; }

  const CommandTree* command_;
  std::string path_;
  std::size_t count_ = 0;
  bool skipsValue_ = false;
  std::string open_;  // what to say when that value does not come
  bool onlyPositionals_ = false;
};

}  // namespace

std::optional<UsageError> findUsageError(const CommandTree& tree, const std::vector<std::string>& words) {
  return UsageReader(tree).read(words);
}

NamedCommand findCommand(const CommandTree& tree, const std::vector<std::string>& words) {
  NamedCommand named{&tree, "", std::nullopt};
  for (const std::string& word : words) {
    const auto found = std::ranges::find(named.command->commands, word, &CommandTree::name);
    if (found == named.command->commands.end()) {
      named.error = UsageError{named.path, fmt::format("there is no command \"{}\"{}", word,
                                                       suggestion(word, commandNames(*named.command)))};
      return named;
    }
    named.command = &*found;
    named.path = withPath(named.path, word);
  }
  return named;
}

}  // namespace sonmere
