#include <VarnoNetwork/Network/PayloadCodec.h>

#include <algorithm>
#include <cstddef>

namespace varno {
namespace {

// Moves the strings into the set, sorted, in one walk through both.
void merge(StringSet& set, std::vector<std::string>& strings) {
  std::sort(strings.begin(), strings.end());
  auto at = set.begin();
  for (std::string& text : strings) {
    while (at != set.end() && *at < text) ++at;
    at = set.insert(at, std::move(text));
  }
  strings.clear();
}

}  // namespace

// Strings that come sorted join the set at its end. The others are collected until they are as many
// as the set has: each by itself would be searched for all over the memory, which takes six times
// as long where they are millions.
void PayloadReader::readSet(StringSet& set) {
  constexpr std::size_t kFewest = 64;
  set.clear();
  std::vector<std::string> unsorted;
  try {
    for (std::int32_t left = stream_.readInt(); left > 0; --left) {
      HudString text = stream_.readUTF();
      if (!text) throw InvalidArgumentException("A set of strings holds no absent string");
      if (set.empty() || *set.rbegin() < *text) {
        set.insert(set.end(), *std::move(text));
      } else {
        unsorted.push_back(*std::move(text));
        if (unsorted.size() >= std::max(kFewest, set.size())) merge(set, unsorted);
      }
    }
  } catch (const HudException&) {
    merge(set, unsorted);  // what was read stays
    throw;
  }
  merge(set, unsorted);
}

}  // namespace varno
