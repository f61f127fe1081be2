#include <VarnoTraffic/PacketDirectory.h>

#include <VarnoNetwork/Network/FieldReader.h>
#include <VarnoTraffic/NearestName.h>
#include <VarnoTraffic/TrafficRecord.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <optional>
#include <tuple>

namespace varno {
namespace {

constexpr std::string_view kPacketEnding = "Packet";
constexpr std::string_view kFamilyEndings[] = {"Command", "Event", "Notification"};

auto orderOf(PacketIdentifiers ids) { return std::tuple(ids.command, ids.param1, ids.param2); }

std::string_view withoutEnding(std::string_view name, std::string_view ending) {
  if (name.size() > ending.size() && name.ends_with(ending)) name.remove_suffix(ending.size());
  return name;
}

std::string_view withoutFamily(std::string_view name) {
  const std::string_view stem = withoutEnding(name, kPacketEnding);
  for (const std::string_view ending : kFamilyEndings) {
    if (stem.ends_with(ending)) return withoutEnding(stem, ending);
  }
  return stem;
}

bool isPlainWord(std::string_view name) {
  const auto isPlain = [](char letter) {
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
           (letter >= '0' && letter <= '9') || letter == '_';
  };
  return !name.empty() && std::all_of(name.begin(), name.end(), isPlain) && name != "raw" &&
         name != "link" && !recordKindFromText(name);
}

// Looks for secret fields. What is in a list that is still empty, it takes for secret: nobody
// knows.
class SecretFinder : public UniformFieldVisitor<SecretFinder, FieldVisitor> {
 public:
  bool found = false;

  template <class Value>
  void onField(const FieldInfo& field, const Value&) {
    found |= field.isSecret;
  }
  void beginRecord(const FieldInfo& field, std::string_view) override { found |= field.isSecret; }
  void beginList(const FieldInfo&, const std::size_t&) override { found = true; }
};

// Whether the type reads a payload without bytes as its list of fields says.
bool readsByItsFields(PacketType type) {
  HudInputStream stream = HudInputStream::borrowing({});
  const bool isRead = type.parse(stream) != nullptr;
  try {
    HudInputStream again = HudInputStream::borrowing({});
    FieldReader reader(again);
    type.make()->editFields(reader);
    return isRead;
  } catch (const HudException&) {
    return !isRead;
  }
}

// None for a type that a network leaves out, too: it cannot tell its identifiers.
std::optional<PacketDirectory::Entry> entryOf(PacketType type) {
  PacketDirectory::Entry entry{.type = type, .identifiers = {}};
  try {
    entry.identifiers = type.identifiers();
  } catch (...) {
    return std::nullopt;
  }
  try {
    SecretFinder finder;
    type.make()->visitFields(finder);
    entry.mayHaveSecrets = finder.found;
    entry.isIrregular = !readsByItsFields(type);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    entry.mayHaveSecrets = true;  // what cannot be asked may be anything
    entry.isIrregular = true;
  }
  return entry;
}

}  // namespace

PacketDirectory::PacketDirectory(const std::vector<PacketType>& types) {
  for (const PacketType type : types) {
    if (const std::optional<Entry> entry = entryOf(type)) entries_.push_back(*entry);
  }
  const auto isBefore = [](const Entry& left, const Entry& right) {
    return orderOf(left.identifiers) < orderOf(right.identifiers);
  };
  std::stable_sort(entries_.begin(), entries_.end(), isBefore);
  const auto isSame = [](const Entry& left, const Entry& right) {
    return orderOf(left.identifiers) == orderOf(right.identifiers);
  };
  entries_.erase(std::unique(entries_.begin(), entries_.end(), isSame), entries_.end());
  for (Entry& entry : entries_) {
    entry.hasPlainName = isPlainWord(entry.type.name()) && find(entry.type.name()) == &entry;
  }
}

const PacketDirectory::Entry* PacketDirectory::find(PacketIdentifiers identifiers) const noexcept {
  const auto found = std::lower_bound(
      entries_.begin(), entries_.end(), orderOf(identifiers),
      [](const Entry& entry, const auto& order) { return orderOf(entry.identifiers) < order; });
  if (found == entries_.end() || orderOf(found->identifiers) != orderOf(identifiers)) {
    return nullptr;
  }
  return &*found;
}

const PacketDirectory::Entry* PacketDirectory::find(std::string_view word) const {
  const std::vector<const Entry*> found = named(word);
  return found.size() == 1 ? found.front() : nullptr;
}

std::vector<std::string_view> PacketDirectory::alike(std::string_view word) const {
  std::vector<std::string_view> names;
  for (const Entry* entry : named(word)) names.push_back(entry->type.name());
  if (!names.empty()) return names;

  std::vector<std::string_view> stems;
  for (const Entry& entry : entries_) {
    stems.push_back(withoutFamily(entry.type.name()));
    stems.push_back(entry.type.name());
  }
  const std::string_view nearest = nearestName(word, stems);
  for (const Entry& entry : entries_) {
    if (nearest.empty() || entry.type.name().data() != nearest.data()) continue;
    return {entry.type.name()};
  }
  return {};
}

const PacketDirectory::Entry* PacketDirectory::nearest(
    PacketIdentifiers identifiers) const noexcept {
  const auto distance = [&](const Entry& entry) {
    return std::tuple(std::abs(entry.identifiers.command - identifiers.command),
                      std::abs(entry.identifiers.param1 - identifiers.param1),
                      std::abs(entry.identifiers.param2 - identifiers.param2));
  };
  const auto found = std::min_element(
      entries_.begin(), entries_.end(),
      [&](const Entry& left, const Entry& right) { return distance(left) < distance(right); });
  return found == entries_.end() ? nullptr : &*found;
}

// What fits best counts: the name, then the name without its endings, then a beginning.
std::vector<const PacketDirectory::Entry*> PacketDirectory::named(std::string_view word) const {
  std::vector<const Entry*> found;
  const auto take = [&](auto isNamed) {
    for (const Entry& entry : entries_) {
      if (isNamed(entry.type.name())) found.push_back(&entry);
    }
    return !found.empty();
  };
  if (word.empty() || take([&](std::string_view name) { return name == word; }) ||
      take([&](std::string_view name) {
        return withoutEnding(name, kPacketEnding) == word || withoutFamily(name) == word;
      })) {
    return found;
  }
  take([&](std::string_view name) { return name.starts_with(word); });
  return found;
}

}  // namespace varno
