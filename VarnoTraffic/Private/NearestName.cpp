#include <VarnoTraffic/Private/NearestName.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

namespace varno {
namespace {

constexpr std::size_t kLongestWord = 64;

char lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

// How many letters have to be put in, taken out or replaced.
std::size_t editDistance(std::string_view left, std::string_view right) {
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t at = 0; at < left.size(); ++at) {
    std::size_t diagonal = row[0];
    row[0] = at + 1;
    for (std::size_t to = 0; to < right.size(); ++to) {
      const std::size_t replaced = diagonal + (lower(left[at]) == lower(right[to]) ? 0 : 1);
      diagonal = row[to + 1];
      row[to + 1] = std::min({replaced, row[to] + 1, diagonal + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string_view nearestName(std::string_view word, std::span<const std::string_view> names) {
  if (word.empty() || word.size() > kLongestWord) return {};
  std::string_view nearest;
  std::size_t least = word.size() / 2 + 1;  // from here on it is another word
  for (const std::string_view name : names) {
    if (name.size() > kLongestWord) continue;
    const std::size_t distance = editDistance(word, name);
    if (distance >= least) continue;
    least = distance;
    nearest = name;
  }
  return nearest;
}

}  // namespace varno
