#include <VarnoTraffic/Lint.h>

#include <VarnoTraffic/Explanation.h>
#include <VarnoTraffic/Private/DecodedFrame.h>
#include <VarnoTraffic/Private/ValueText.h>

#include <set>
#include <type_traits>
#include <utility>

namespace varno {
namespace {

constexpr std::size_t kReadAsEmpty = 0x8000;  // from here on a text's count looks negative
constexpr std::size_t kCut = 0x10000;         // from here on only a part of the text goes out

void lintText(std::vector<std::string>& sentences, const std::string& path, std::string_view text) {
  const std::string size = path + ": text of " + std::to_string(text.size()) + " bytes";
  if (const std::size_t valid = validLength(text); valid < text.size()) {
    sentences.push_back(path + ": text is not valid UTF-8 at byte " + std::to_string(valid) +
                        ": an empty one goes out");
    return;
  }
  if (text.size() >= kCut) {
    sentences.push_back(size + ": only " + std::to_string(text.size() % kCut) + " of them go out");
  }
  if (text.size() % kCut >= kReadAsEmpty) {
    sentences.push_back(size + ": the receiver reads an empty one");
  }
}

// Fields with their values; an absent text is an empty one.
using Fields = std::set<std::pair<std::string, std::string>>;

Fields fieldsOf(const HudPacket& packet) {
  Fields fields;
  forEachField(packet, [&](const FieldInfo& field, const auto& value) {
    using Value = std::remove_cvref_t<decltype(value)>;
    std::string text;
    if constexpr (std::is_same_v<Value, HudString>) {
      appendQuoted(text, value.value_or(std::string()));
    } else {
      appendValue(text, value);
    }
    fields.emplace(field.path(), std::move(text));
  });
  return fields;
}

}  // namespace

std::vector<std::string> lint(const HudPacket& packet, const PacketDirectory& directory) {
  std::vector<std::string> sentences;
  forEachField(packet, [&](const FieldInfo& field, const auto& value) {
    using Value = std::remove_cvref_t<decltype(value)>;
    if constexpr (std::is_same_v<Value, HudString>) {
      if (value) lintText(sentences, field.path(), *value);
    } else if constexpr (std::is_same_v<Value, StringSet>) {
      for (const std::string& text : value) lintText(sentences, field.path(), text);
    }
  });
  if (!sentences.empty()) return sentences;

  const std::vector<std::uint8_t> frame = frameOf(packet);
  std::vector<std::uint8_t> memory;
  const DecodedFrame decoded = decodeFrame(frame, directory, memory);
  if (decoded.packet == nullptr) {
    const Explanation explanation = explainFrame(frame, directory);
    return {"the receiver does not read the packet: " + explanation.reason};
  }
  const Fields sent = fieldsOf(packet);
  const Fields received = fieldsOf(*decoded.packet);
  for (const auto& field : sent) {
    if (!received.contains(field)) {
      sentences.push_back(field.first + ": the receiver reads another value");
    }
  }
  return sentences;
}

}  // namespace varno
