#include "base/NearestText.h"

#include <algorithm>
#include <numeric>

namespace sonmere {

namespace {

// Longer texts are compared no further; the work grows with the product of the lengths.
constexpr std::size_t kLongest = 200;

char lower(char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; }

std::string lowered(std::string_view text) {
  std::string out(text.substr(0, kLongest));
  std::ranges::transform(out, out.begin(), lower);
  return out;
}

// Letters to change, leave out or put in (Levenshtein).
std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0u);
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t changed = diagonal + (a[i] == b[j] ? 0u : 1u);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::optional<std::string> nearestText(std::string_view text, const std::vector<std::string>& candidates) {
  const std::string meant = lowered(text);
  const std::string* best = nullptr;
  std::size_t least = meant.size() / 3 + 1;
  for (const std::string& candidate : candidates) {
    const std::string other = lowered(candidate);
    const bool isPart = meant.size() >= 3 && other.find(meant) != std::string::npos;
    const std::size_t changes = isPart ? 1 : distance(meant, other);
    if (changes >= least) continue;
    least = changes;
    best = &candidate;
  }
  return best ? std::optional(*best) : std::nullopt;
}

}  // namespace sonmere
