#pragma once

#include <VarnoNetwork/VarnoNetwork.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace varno::test {

enum class Gear : std::uint16_t { kNeutral = 0, kReverse = 0xFFFF };

struct Wheel {
  static constexpr std::string_view kTypeName = "Wheel";
  float pressure = 2.5F;
  HudString maker = "";
  std::vector<std::uint8_t> tread;
  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("pressure", self.pressure);
    visit("maker", self.maker);
    visit("tread", self.tread);
  }
};

// An application's packet with a field of every type that is allowed.
class EveryFieldPacket : public TypedPacket<EveryFieldPacket, EventPacket, 200, 125> {
 public:
  static constexpr std::string_view kTypeName = "EveryFieldPacket";

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("flag", self.flag);
    visit("byte", self.byte);
    visit("int16", self.int16);
    visit("int32", self.int32);
    visit("int64", self.int64);
    visit("uint16", self.uint16);
    visit("uint32", self.uint32);
    visit("uint64", self.uint64);
    visit("real", self.real);
    visit("precise", self.precise);
    visit("text", self.text);
    visit.secret("pin", self.pin);
    visit("names", self.names);
    visit("gear", self.gear);
    visit("spare", self.spare);
    visit("lent", self.lent);
    visit("flags", self.flags);
    visit("numbers", self.numbers);
    visit("texts", self.texts);
    visit("wheels", self.wheels);
    visit("sets", self.sets);
    visit("table", self.table);
    visit.secret("keys", self.keys);
    visit.unsent("local", self.local);
  }

  bool flag = false;
  std::uint8_t byte = 0;
  std::int16_t int16 = 0;
  std::int32_t int32 = 0;
  std::int64_t int64 = 0;
  std::uint16_t uint16 = 0;
  std::uint32_t uint32 = 0;
  std::uint64_t uint64 = 0;
  float real = 0;
  double precise = 0;
  HudString text = "";
  std::int32_t pin = 0;
  StringSet names;
  Gear gear = Gear::kNeutral;
  Wheel spare;
  std::shared_ptr<Wheel> lent;
  std::vector<bool> flags;
  std::vector<std::int32_t> numbers;
  std::vector<HudString> texts;
  std::vector<Wheel> wheels;
  std::vector<StringSet> sets;
  std::vector<std::vector<std::uint16_t>> table;
  std::vector<HudString> keys;
  std::int32_t local = 7;
};

using Random = std::mt19937;

inline std::string randomText(Random& random) {
  static const std::string kParts[] = {"",
                                       "a",
                                       " ",
                                       "\"",
                                       "\\",
                                       "#",
                                       "\n",
                                       "\x02\x03}",
                                       "null",
                                       "***",
                                       "\t",
                                       "\xC3\xA9",
                                       "\xC2\x85",
                                       "\xE2\x80\xAE",  // NOLINT(misc-misleading-bidirectional)
                                       "\xF0\x9F\x98\x80",
                                       "\xFF",
                                       "\xE2",
                                       "[,]",
                                       "{=}",
                                       "\x7F",
                                       "]",
                                       "\\x41",
                                       std::string(1, '\0'),
                                       "plain text"};
  std::string text;
  for (std::size_t count = random() % 5; count > 0; --count) {
    text += kParts[random() % std::size(kParts)];
  }
  return text;
}

// Gives each field a random value, those at the borders of its type more often than others.
class RandomFiller : public UniformFieldVisitor<RandomFiller, FieldEditor> {
 public:
  explicit RandomFiller(Random& random) : random_(random) {}

  template <class Value>
  void onField(const FieldInfo&, Value& value) {
    using Limits = std::numeric_limits<Value>;
    const std::size_t kind = random_() % 6;
    const std::uint64_t bits = std::uint64_t{random_()} << 32 | random_();
    if constexpr (std::is_same_v<Value, bool>) {
      value = kind % 2 == 0;
    } else if constexpr (std::is_integral_v<Value>) {
      value = kind == 0   ? Limits::min()
              : kind == 1 ? Limits::max()
              : kind == 2 ? static_cast<Value>(0x7D7D02037D7D0203)
                          : static_cast<Value>(bits >> (kind == 3 ? 56 : 0));
    } else if constexpr (std::is_same_v<Value, float>) {
      const auto word = static_cast<std::uint32_t>(bits);
      value = std::bit_cast<float>(kind == 0 ? 0x7F800000 : kind == 1 ? 1 : word);
    } else if constexpr (std::is_same_v<Value, double>) {
      value = std::bit_cast<double>(kind == 0 ? std::uint64_t{1} << 63 : bits);
    } else if constexpr (std::is_same_v<Value, HudString>) {
      value = randomText(random_);
      if (kind == 0) value.reset();
    } else {
      value.clear();
      for (std::size_t count = kind; count > 0; --count) value.insert(randomText(random_));
    }
  }
  bool wantsElement(const FieldInfo&, std::size_t index) override {
    return index < 4 && random_() % 3 != 0;
  }

 private:
  Random& random_;
};

}  // namespace varno::test
