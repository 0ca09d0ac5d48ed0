#include "cli/Completion.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/PrintableText.h"
#include "cli/ArgumentText.h"

namespace sonmere {

namespace {

using Option = CommandTree::Option;
using Candidate = CompletionReply::Candidate;

bool isLiteral(const std::string& kind) {
  return std::ranges::none_of(kind, [](char c) { return c >= 'A' && c <= 'Z'; });
}

// Where the words before the cursor lead.
class Place {
 public:
  explicit Place(const CommandTree& tree) : command_(&tree) {}

  void take(const std::string& word) {
    if (wantsValue()) {
      option_ = nullptr;
    } else if (word == "--" && !onlyPositionals_) {
      onlyPositionals_ = true;
    } else if (isOption(word)) {
      takeOption(word);
    } else if (!takeCommand(word)) {
      option_ = nullptr;
      takePositional(word);
    }
  }

  const CommandTree& command() const { return *command_; }
  const CompletionGiven& given() const { return given_; }
  // The option whose value comes next.
  const Option* option() const { return option_; }
  bool wantsValue() const { return option_ && !option_->isValueOptional; }
  bool isOption(const std::string& word) const { return word.starts_with('-') && !onlyPositionals_; }
  // Values such as -5% begin like an option.
  bool takesOptions() const { return !onlyPositionals_; }
  const Option* named(const std::string& name) const {
    const auto found = std::ranges::find_if(command_->options, [&](const Option& o) {
      return std::ranges::find(o.names, name) != o.names.end();
    });
    return found == command_->options.end() || found->isPositional ? nullptr : &*found;
  }
  const Option* positional() const {
    std::size_t index = 0;
    for (const Option& option : command_->options)
      if (option.isPositional && (index++ == positionals_ || option.isRepeated)) return &option;
    return nullptr;
  }
  bool takesCommand() const { return positionals_ == 0; }

 private:
  void takeOption(const std::string& word) {
    const Option* const found = named(word);
    option_ = found && !found->value.empty() ? found : nullptr;
    // What is no option of the command is a value that begins like one.
    if (!found && !named(word.substr(0, word.find('=')))) takePositional(word);
  }
  void takePositional(const std::string& word) {
    if (const Option* const option = positional()) given_[option->value] = word;
    ++positionals_;
  }
  bool takeCommand(const std::string& word) {
    const auto found = std::ranges::find(command_->commands, word, &CommandTree::name);
    if (!takesCommand() || found == command_->commands.end()) return false;
    command_ = &*found;
    option_ = nullptr;
    return true;
  }

  const CommandTree* command_;
  const Option* option_ = nullptr;
  CompletionGiven given_;
  std::size_t positionals_ = 0;
  bool onlyPositionals_ = false;
};

class Completer {
 public:
  Completer(const std::string& word, const CompletionSource& source, const CompletionGiven& given)
      : word_(word), source_(source), given_(given) {}

  // Whatever `value` allows, behind what of the word is settled already.
  void addValue(const std::string& value, const std::string& settled = "") {
    const auto pair = value.find('=');
    if (pair == std::string::npos) return addKinds(value, settled);
    const auto cut = word_.find('=', settled.size());
    if (cut != std::string::npos) return addKinds(value.substr(pair + 1), word_.substr(0, cut + 1));
    reply_.endsWord = false;
    for (const Candidate& each : source_(value.substr(0, pair), given_))
      add({settled + each.word + "=", each.help});
  }
  void addCommands(const CommandTree& command) {
    for (const CommandTree& each : command.commands) add({each.name, each.help});
  }
  void addOptions(const CommandTree& command) {
    for (const Option& option : command.options)
      for (const std::string& name : option.names)
        if (!option.isPositional) add({name, option.help});
  }
  CompletionReply take() { return std::move(reply_); }

 private:
  void addKinds(const std::string& kinds, const std::string& settled) {
    for (const std::string& kind : splitText(kinds, '|')) {
      if (isLiteral(kind)) {
        add({settled + kind, ""});
      } else if (kind == "FILE" || kind == "PATH" || kind == "DIR") {
        reply_.files = kind == "DIR" ? CompletionReply::Files::folders : CompletionReply::Files::any;
        reply_.filesFrom = settled.size();
      } else {
        for (const Candidate& each : source_(kind, given_)) add({settled + each.word, each.help});
      }
    }
  }
  // What a terminal can't show is not offered; neither is what can't be a word's text.
  void add(Candidate candidate) {
    if (!candidate.word.starts_with(word_) || candidate.word.empty()) return;
    if (printable(candidate.word) != candidate.word) return;
    candidate.help = printable(candidate.help);
    reply_.candidates.push_back(std::move(candidate));
  }

  const std::string& word_;
  const CompletionSource& source_;
  const CompletionGiven& given_;
  CompletionReply reply_;
};

}  // namespace

CompletionReply completeWords(const CommandTree& tree, const std::vector<std::string>& words,
                              const CompletionSource& source) {
  Place place(tree);
  for (std::size_t i = 0; i + 1 < words.size(); ++i) place.take(words[i]);
  const std::string word = words.empty() ? "" : words.back();
  Completer completer(word, source, place.given());
  const auto equals = word.find('=');
  const Option* const joined =
      equals != std::string::npos && place.isOption(word) ? place.named(word.substr(0, equals)) : nullptr;
  if (place.option()) completer.addValue(place.option()->value);
  if (joined) completer.addValue(joined->value, word.substr(0, equals + 1));
  if (place.wantsValue() || joined) return completer.take();
  if (place.takesCommand()) completer.addCommands(place.command());
  if (const Option* positional = place.positional()) completer.addValue(positional->value);
  if (place.takesOptions() && word.starts_with('-')) completer.addOptions(place.command());
  return completer.take();
}

CompletionReply completeCommands(const CommandTree& tree, const std::vector<std::string>& words) {
  Place place(tree);
  for (std::size_t i = 0; i + 1 < words.size(); ++i) place.take(words[i]);
  const CompletionSource none = [](const std::string&, const CompletionGiven&) {
    return std::vector<Candidate>{};
  };
  Completer completer(words.back(), none, place.given());
  completer.addCommands(place.command());
  return completer.take();
}

std::string completionText(const CompletionReply& reply) {
  const char* const files = reply.files == CompletionReply::Files::none  ? "none"
                            : reply.files == CompletionReply::Files::any ? "files"
                                                                         : "folders";
  std::string out = fmt::format("{} {} {}\n", files, reply.filesFrom, reply.endsWord ? "space" : "nospace");
  for (const Candidate& each : reply.candidates)
    out += each.help.empty() ? each.word + "\n" : each.word + "\t" + each.help + "\n";
  return out;
}

}  // namespace sonmere
