#include <VarnoTraffic/NearestName.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

namespace varno {
namespace {

constexpr std::size_t kLongestWord = 64;

char lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

// How many letters have to be put in, taken out, replaced, or swapped with the next one.
std::size_t editDistance(std::string_view left, std::string_view right) {
  std::vector<std::size_t> before;  // the rows of the last letter of `left`, and of the one before
  std::vector<std::size_t> last(right.size() + 1);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t at = 0; at < left.size(); ++at) {
    std::vector<std::size_t> row{at + 1};
    for (std::size_t to = 0; to < right.size(); ++to) {
      const bool isSame = lower(left[at]) == lower(right[to]);
      std::size_t least = std::min({last[to] + (isSame ? 0 : 1), last[to + 1] + 1, row[to] + 1});
      if (at > 0 && to > 0 && lower(left[at]) == lower(right[to - 1]) &&
          lower(left[at - 1]) == lower(right[to])) {
        least = std::min(least, before[to - 1] + 1);
      }
      row.push_back(least);
    }
    before = std::exchange(last, std::move(row));
  }
  return last.back();
}

}  // namespace

std::string_view nearestName(std::string_view word, std::span<const std::string_view> names) {
  if (word.empty() || word.size() > kLongestWord) return {};
  std::string_view nearest;
  std::size_t least = word.size() / 2 + 1;  // from here on it is another word
  for (const std::string_view name : names) {
    const auto [shorter, longer] = std::minmax({word.size(), name.size()});
    if (longer - shorter >= least) continue;  // so many letters have to be put in
    const std::size_t distance = editDistance(word, name);
    if (distance >= least) continue;
    least = distance;
    nearest = name;
  }
  return nearest;
}

}  // namespace varno
