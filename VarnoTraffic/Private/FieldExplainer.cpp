#include <VarnoTraffic/Private/FieldExplainer.h>

#include <VarnoNetwork/Network/Wire.h>

#include <utility>

namespace varno {
namespace {

constexpr std::size_t kCountOfText = 2;
constexpr std::size_t kCountOfSet = 4;

// The first bytes as a number, most significant first. There have to be so many.
std::uint32_t numberIn(std::span<const std::uint8_t> bytes, std::size_t size) {
  std::uint32_t number = 0;
  for (std::size_t at = 0; at < size; ++at) number = number << 8 | bytes[at];
  return number;
}

std::string_view textOf(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string isThere(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " is there" : " are there");
}

}  // namespace

std::vector<std::uint8_t> unstuffed(std::span<const std::uint8_t> wire) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(wire.size());
  for (std::size_t at = 0; at < wire.size(); ++at) {
    if (wire[at] != ESCAPE) {
      bytes.push_back(wire[at]);
    } else if (++at < wire.size()) {
      bytes.push_back(static_cast<std::uint8_t>(wire[at] ^ ESCAPE));
    }
  }
  return bytes;
}

std::string counted(std::uint64_t count, std::string_view noun) {
  std::string text = std::to_string(count) + ' ';
  text.append(noun);
  if (count != 1) text += 's';
  return text;
}

void FieldExplainer::start(const FieldInfo& field, std::size_t size) {
  path_ = field.path();
  type_ = Type::kOther;
  size_ = size;
  isSecret_ = field.isSecret;
  begin_ = static_cast<std::size_t>(stream_.offset());
}

FrameSpan& FieldExplainer::finish() {
  FrameSpan span;
  span.offset = begin_;
  const std::span wire = body_.subspan(begin_, static_cast<std::size_t>(stream_.offset()) - begin_);
  span.wire.assign(wire.begin(), wire.end());
  span.bytes = unstuffed(wire);
  span.name = path_;
  span.isSecret = isSecret_;
  return spans.emplace_back(std::move(span));
}

std::string FieldExplainer::explainFailure(std::string_view what, bool isOutOfBounds) {
  std::string reason;
  if (!isOutOfBounds && type_ == Type::kSet) {
    reason = "a text in " + path_ + " is not valid UTF-8";
  } else if (!isOutOfBounds) {
    reason = path_ + ": " + std::string(what);
  } else {
    // What is left of the payload, though the reading may have stopped before its end.
    const std::vector<std::uint8_t> left = unstuffed(body_.subspan(begin_));
    reason = std::string(kPayloadEnds) + path_ + ": ";
    if (type_ == Type::kText && left.size() >= kCountOfText) {
      reason += counted(numberIn(left, kCountOfText), "byte") + " announced, " +
                isThere(left.size() - kCountOfText);
    } else if (type_ == Type::kSet && left.size() >= kCountOfSet) {
      reason += counted(numberIn(left, kCountOfSet), "text") + " announced, not all are there";
    } else {
      const std::size_t needed = type_ == Type::kText  ? kCountOfText
                                 : type_ == Type::kSet ? kCountOfSet
                                                       : size_;
      reason += counted(needed, "byte") + " needed, " + isThere(left.size());
    }
  }
  if (stream_.offset() > begin_ && (spans.empty() || spans.back().offset != begin_)) finish();
  return reason;
}

std::string FieldExplainer::negativeCount(std::int32_t count, std::string_view meaning) {
  return "count " + std::to_string(count) + " is negative: it is read as " + std::string(meaning);
}

std::int32_t FieldExplainer::countIn(const FrameSpan& span) {
  return static_cast<std::int32_t>(numberIn(span.bytes, kCountOfSet));
}

void FieldExplainer::remarkBoolean(FrameSpan& span) {
  const unsigned byte = span.bytes.front();
  if (byte > 1) span.remarks.push_back(std::to_string(byte) + " is read as true");
}

void FieldExplainer::remarkText(FrameSpan& span) {
  const auto count = static_cast<std::int16_t>(numberIn(span.bytes, kCountOfText));
  if (count < 0) {
    span.remarks.push_back(negativeCount(count, "empty text, and the text's bytes are not read"));
    return;
  }
  const std::string_view text = textOf(std::span(span.bytes).subspan(kCountOfText));
  if (const std::size_t valid = validLength(text); valid < text.size()) {
    span.remarks.push_back("text is not valid UTF-8 at byte " + std::to_string(valid) +
                           ": it is read as absent");
  }
}

void FieldExplainer::remarkSet(FrameSpan& span, std::size_t size) {
  const std::int32_t count = countIn(span);
  if (count < 0) {
    span.remarks.push_back(negativeCount(count, "an empty set"));
  } else if (static_cast<std::size_t>(count) != size) {
    span.remarks.push_back(counted(static_cast<std::size_t>(count), "text") + " announced, " +
                           std::to_string(size) + " of them different");
  }
}

}  // namespace varno
