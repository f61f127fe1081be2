#include <VarnoTraffic/Explanation.h>
#include <VarnoTraffic/Private/FieldExplainer.h>
#include <VarnoTraffic/Private/ValueText.h>

#include <algorithm>
#include <array>

namespace varno {
namespace {

constexpr std::size_t kMostBytes = 8;   // of a span that are shown all
constexpr std::size_t kFirstBytes = 5;  // that are shown of a longer one
constexpr std::size_t kLastBytes = 2;
constexpr std::size_t kMostText = 100;
constexpr std::size_t kColumns = 5;
using Row = std::array<std::string, kColumns>;

std::string hexOf(std::span<const std::uint8_t> bytes, bool isHidden) {
  if (isHidden) return std::string(kHiddenText);
  std::string text;
  if (bytes.size() <= kMostBytes) {
    appendHex(text, bytes, " ");
  } else {
    appendHex(text, bytes.first(kFirstBytes), " ");
    text += " .. ";
    appendHex(text, bytes.last(kLastBytes), " ");
  }
  return text;
}

std::string shortened(const std::string& text) {
  if (text.size() <= kMostText) return text;
  std::size_t end = kMostText;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end) + "..";
}

bool isMark(const FrameSpan& span) { return span.name == "STX" || span.name == "ETX"; }

Row rowOf(const FrameSpan& span, bool isHidden) {
  Row row;
  for (int shift = span.offset > 0xFFFF ? 24 : 8; shift >= 0; shift -= 8) {
    appendHexByte(row[0], static_cast<std::uint8_t>(span.offset >> shift));
  }
  row[1] = hexOf(span.wire, isHidden);
  if (!isMark(span)) row[2] = hexOf(span.bytes, isHidden);
  row[3] = span.name;
  row[4] = isHidden ? std::string(kHiddenText) : shortened(span.value);
  return row;
}

void appendRows(std::string& text, const std::vector<Row>& rows) {
  std::array<std::size_t, kColumns> widths{};
  for (const Row& row : rows) {
    for (std::size_t at = 0; at < kColumns; ++at) widths[at] = std::max(widths[at], row[at].size());
  }
  for (const Row& row : rows) {
    const std::size_t begin = text.size();
    for (std::size_t at = 0; at < kColumns; ++at) {
      text += row[at];
      if (at + 1 < kColumns) text.append(widths[at] - row[at].size() + 2, ' ');
    }
    text.erase(std::max(begin, text.find_last_not_of(' ') + 1));
    text += '\n';
  }
}

}  // namespace

std::string_view verdictText(Verdict verdict) noexcept {
  switch (verdict) {
    case Verdict::kDelivered: return "delivered";
    case Verdict::kDropped: return "dropped";
    case Verdict::kRefused: break;
  }
  return "refused";
}

std::vector<std::string> Explanation::sentences(Secrets secrets) const {
  std::vector<std::string> all;
  const auto add = [&](std::string sentence) {
    if (std::find(all.begin(), all.end(), sentence) == all.end())
      all.push_back(std::move(sentence));
  };
  const auto isHidden = [&](const FrameSpan& span) {
    return span.isSecret && secrets == Secrets::kHidden;
  };
  // Where the payload ended may be in a secret: then what was read there is not told.
  const bool isCut = !isExact && std::any_of(spans.begin(), spans.end(), isHidden);
  const auto addWhole = [&](const std::string& sentence) {
    const bool mayTell = !isCut || !sentence.starts_with(kPayloadEnds);
    add(mayTell ? sentence : sentence.substr(0, sentence.find(':')));
  };
  if (!reason.empty()) addWhole(reason);
  for (const std::string& remark : remarks) addWhole(remark);
  for (const FrameSpan& span : spans) {
    const bool isField = span.name != "unread" && span.name != "payload";
    for (const std::string& remark : span.remarks) {
      if (isHidden(span)) {
        add(span.name + ": something is unusual in this secret");
      } else {
        add(isField ? span.name + ": " + remark : remark);
      }
    }
  }
  return all;
}

std::string Explanation::table(Secrets secrets) const {
  std::vector<Row> rows{{"offset", "wire", "bytes", "field", "value"}};
  for (const FrameSpan& span : spans) {
    rows.push_back(rowOf(span, span.isSecret && secrets == Secrets::kHidden));
  }
  std::string text;
  appendRows(text, rows);
  for (const std::string& sentence : sentences(secrets)) text += sentence + '\n';
  text.append(verdictText(verdict));
  if (!typeName.empty()) text += ": " + typeName;
  return text += '\n';
}

std::vector<bool> Explanation::secretBytes() const {
  std::vector<bool> bytes;
  for (const FrameSpan& span : spans) bytes.insert(bytes.end(), span.wire.size(), span.isSecret);
  return bytes;
}

}  // namespace varno
