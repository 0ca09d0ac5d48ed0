#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "cli/CommandTree.h"

namespace sonmere {

// What can stand where the cursor is. The shells' scripts know no command: they hand over the words and quote
// what comes back, and expand none of it.
struct CompletionReply {
  struct Candidate {
    std::string word;
    std::string help;  // may be empty
    bool operator==(const Candidate&) const = default;
  };
  enum class Files { none, any, folders };

  std::vector<Candidate> candidates;
  Files files = Files::none;
  std::size_t filesFrom = 0;  // where in the word the file's name begins, in bytes
  bool endsWord = true;       // false when more belongs to the word ("music=")
};

// The words that stand before the cursor already, by the names of the arguments they are.
using CompletionGiven = std::map<std::string, std::string>;

// The words of a kind ("ID", "BUS"), for those that only the user's world knows.
using CompletionSource = std::function<std::vector<CompletionReply::Candidate>(const std::string& kind,
                                                                               const CompletionGiven& given)>;

// `words` are those behind the program's name, without quotes; the last one is the one to complete.
// Candidates begin with it, and hold nothing that a terminal would obey.
CompletionReply completeWords(const CommandTree& tree, const std::vector<std::string>& words,
                              const CompletionSource& source);

// The commands below the one that the words but the last name.
CompletionReply completeCommands(const CommandTree& tree, const std::vector<std::string>& words);

// The reply as the scripts read it: "files|folders|none FROM space|nospace", then a candidate a line, with
// its help after a tab.
std::string completionText(const CompletionReply& reply);

}  // namespace sonmere
