#include <VarnoTraffic/Explanation.h>

#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/Wire.h>
#include <VarnoTraffic/Private/DecodedFrame.h>
#include <VarnoTraffic/Private/FieldExplainer.h>
#include <VarnoTraffic/Private/FieldPrinter.h>

#include <algorithm>
#include <iterator>
#include <new>
#include <optional>

namespace varno {
namespace {

using ByteSpan = std::span<const std::uint8_t>;

std::string idText(PacketIdentifiers ids) {
  return std::to_string(ids.command) + "/" + std::to_string(ids.param1) + "/" +
         std::to_string(ids.param2);
}

std::string hexText(std::uint8_t byte) {
  std::string text;
  appendHexByte(text, byte);
  return text;
}

// The exception that reading the header raises, or the type.
std::string exceptionText(const std::exception& exception) {
  const auto* named = dynamic_cast<const HudException*>(&exception);
  return (named != nullptr ? std::string(named->name()) + ": " : std::string()) + exception.what();
}

class Explainer {
 public:
  Explainer(ByteSpan frame, const PacketDirectory& directory)
      : frame_(frame), directory_(directory) {}

  Explanation run() {
    const bool isLong = frame_.size() >= kShortestFrame;
    begin_ = !frame_.empty() && frame_.front() == STX ? 1 : 0;
    end_ = frame_.size() - (frame_.size() > begin_ && frame_.back() == ETX ? 1 : 0);
    if (begin_ == 1) add(0, 1, "STX");
    if (begin_ == 1) {
      explainBody();
    } else {
      addRest(begin_, "unread");
    }
    if (end_ < frame_.size()) add(end_, 1, "ETX");
    if (!isLong) {
      refuse("InvalidArgumentException: RawPacket should be greater than 4.");
    } else if (begin_ == 0 || end_ == frame_.size()) {
      refuse("InvalidArgumentException: RawPacket should be contained STX and ETX.");
    }
    remarkStuffing();
    markSecrets();
    return std::move(result_);
  }

 private:
  ByteSpan body() const { return frame_.subspan(begin_, end_ - begin_); }

  FrameSpan& add(std::size_t offset, std::size_t length, std::string_view name) {
    FrameSpan& span = result_.spans.emplace_back();
    span.offset = offset;
    const ByteSpan wire = frame_.subspan(offset, length);
    span.wire.assign(wire.begin(), wire.end());
    span.bytes = name == "STX" || name == "ETX" ? span.wire : unstuffed(wire);
    span.name = name;
    return span;
  }

  // What is left of the body; nothing where nothing is.
  FrameSpan* addRest(std::size_t from, std::string_view name) {
    return from < end_ ? &add(from, end_ - from, name) : nullptr;
  }

  // For its marks or length; where reading it anyhow stopped is told, too.
  void refuse(const std::string& reason) {
    if (result_.verdict == Verdict::kDropped) result_.remarks.push_back(result_.reason);
    result_.verdict = Verdict::kRefused;
    result_.reason = reason;
    result_.fields.clear();
    result_.isExact = false;
  }

  void drop(std::string reason) {
    result_.verdict = Verdict::kDropped;
    result_.reason = std::move(reason);
  }

  void explainBody() {
    HudInputStream stream = HudInputStream::borrowing(body());
    PacketIdentifiers ids;
    const std::pair<std::string_view, std::uint8_t*> header[] = {
        {"command", &ids.command}, {"param1", &ids.param1}, {"param2", &ids.param2}};
    for (const auto& [name, value] : header) {
      const auto offset = static_cast<std::size_t>(stream.offset());
      try {
        *value = stream.readByte();
      } catch (const IndexOutOfBoundsException& exception) {
        result_.verdict = Verdict::kRefused;
        result_.reason = exceptionText(exception);
        addRest(begin_ + offset, name);
        result_.remarks.push_back("frame ends before " + std::string(name));
        return;
      }
      add(begin_ + offset, static_cast<std::size_t>(stream.offset()) - offset, name).value =
          std::to_string(*value);
    }
    static constexpr std::string_view kFamilies[] = {"", "notification", "command", "event"};
    if (ids.command > 0 && ids.command < std::size(kFamilies)) {
      FrameSpan& command = result_.spans[result_.spans.size() - std::size(header)];
      command.value.append(" ").append(kFamilies[ids.command]);
    }
    entry_ = directory_.find(ids);
    const auto payload = static_cast<std::size_t>(stream.offset());
    if (entry_ == nullptr) {
      std::string reason = "unknown id " + idText(ids);
      if (const PacketDirectory::Entry* nearest = directory_.nearest(ids)) {
        reason += " (nearest: " + std::string(nearest->type.name()) + " " +
                  idText(nearest->identifiers) + ")";
      }
      drop(std::move(reason));
      addRest(begin_ + payload, "payload");
      return;
    }
    result_.typeName = entry_->type.name();
    result_.spans.back().value += " " + result_.typeName;
    explainPayload(payload);
  }

  // Reads the payload as the type does, for the verdict, and field by field, for the spans.
  void explainPayload(std::size_t payload) {
    parse(payload);
    HudInputStream stream = HudInputStream::borrowing(body());
    while (stream.offset() < payload) stream.directRead();
    FieldExplainer explainer(body(), stream);
    std::string failure;
    bool isRead = false;
    std::shared_ptr<HudPacket> byFields;
    if (!entry_->isIrregular) {
      try {
        byFields = entry_->type.make();
        byFields->editFields(explainer);
        isRead = true;
      } catch (const HudException& exception) {
        const bool isOutOfBounds = dynamic_cast<const IndexOutOfBoundsException*>(&exception);
        failure = explainer.explainFailure(exception.reason(), isOutOfBounds);
      }
    }
    const bool agrees = !entry_->isIrregular && isRead == (packet_ != nullptr) &&
                        exception_.empty() &&
                        (!isRead || fieldsText(*byFields) == fieldsText(*packet_));
    if (!agrees) return explainIrregular(payload);

    for (FrameSpan& span : explainer.spans) {
      span.offset += begin_;
      if (!span.wire.empty()) result_.spans.push_back(std::move(span));
    }
    const std::size_t rest = endOfSpans(payload);
    if (packet_ != nullptr) {
      deliver();
      if (FrameSpan* span = addRest(rest, "unread")) {
        span->remarks.push_back(counted(span->bytes.size(), "byte") +
                                (span->bytes.size() == 1 ? " behind the last field is ignored"
                                                         : " behind the last field are ignored"));
      }
    } else {
      drop(std::move(failure));
      addRest(rest, "unread");
    }
  }

  // Where the spans end so far.
  std::size_t endOfSpans(std::size_t payload) const {
    const FrameSpan& last = result_.spans.back();
    return std::max(begin_ + payload, last.offset + last.wire.size());
  }

  void explainIrregular(std::size_t payload) {
    FrameSpan* span = addRest(begin_ + payload, "payload");
    if (!exception_.empty()) {
      result_.verdict = Verdict::kRefused;
      result_.reason = exception_;
    } else if (packet_ == nullptr) {
      std::string reason = "payload is refused by " + result_.typeName;
      std::string_view note = entry_->type.payloadNote();
      if (note.ends_with('.')) note.remove_suffix(1);
      if (!note.empty()) reason.append(" (").append(note).append(")");
      drop(std::move(reason));
    } else {
      deliver();
      if (span != nullptr) span->value = result_.fields;
    }
  }

  void parse(std::size_t payload) {
    HudInputStream stream = HudInputStream::borrowing(body());
    while (stream.offset() < payload) stream.directRead();
    try {
      packet_ = entry_->type.parse(stream);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& exception) {
      exception_ = exceptionText(exception);
    } catch (...) {
      exception_ = "an exception of the type's own";
    }
  }

  void deliver() {
    result_.verdict = Verdict::kDelivered;
    result_.fields = fieldsText(*packet_);
    std::vector<std::uint8_t> memory;
    result_.isExact = writesSame(*packet_, frame_, memory);
  }

  void remarkStuffing() {
    for (FrameSpan& span : result_.spans) {
      if (span.name == "STX" || span.name == "ETX" || begin_ == 0) continue;
      for (std::size_t at = 0; at < span.wire.size(); ++at) {
        const std::uint8_t byte = span.wire[at];
        if (byte != ESCAPE) {
          if (mustEscape(byte)) span.remarks.push_back(hexText(byte) + " stands here unstuffed");
        } else if (++at == span.wire.size()) {
          span.remarks.emplace_back("7D at the end, its second byte is missing");
        } else if (const auto plain = static_cast<std::uint8_t>(span.wire[at] ^ ESCAPE);
                   !mustEscape(plain)) {
          span.remarks.push_back("7D " + hexText(span.wire[at]) + " stands for " + hexText(plain) +
                                 ", which needs no stuffing");
        }
      }
    }
  }

  // Of a frame that is not sound, a part of the secret may have been read as what stands behind it.
  void markSecrets() {
    if (entry_ == nullptr || !entry_->mayHaveSecrets) return;
    bool isBehind = false;
    bool isPayload = false;
    for (FrameSpan& span : result_.spans) {
      const bool isField = isPayload && span.name != "ETX";
      isPayload |= span.name == "param2";
      const bool isUnread =
          isField && (span.name == "unread" || span.value.empty() || entry_->isIrregular);
      isBehind |= !result_.isExact && isField && (span.isSecret || isUnread);
      span.isSecret |= isBehind && isField;
    }
  }

  ByteSpan frame_;
  const PacketDirectory& directory_;
  Explanation result_;
  std::size_t begin_ = 0;  // of the body
  std::size_t end_ = 0;
  const PacketDirectory::Entry* entry_ = nullptr;
  std::shared_ptr<HudPacket> packet_;  // that the type read
  std::string exception_;              // that the type threw
};

}  // namespace

Explanation explainFrame(ByteSpan frame, const PacketDirectory& directory) {
  return Explainer(frame, directory).run();
}

}  // namespace varno
