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

// Strings that arrive sorted are appended at the end of the set. The others are collected until
// there are as many as the set has, then merged in one walk. Inserting them one by one would jump
// all over the memory, which takes several times as long for millions of strings.
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
    merge(set, unsorted);  // what was read is kept
    throw;
  }
  merge(set, unsorted);
}

}  // namespace varno
