#include <VarnoTraffic/Private/PcapngBlock.h>
#include <VarnoTraffic/Private/Readers.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace varno {
namespace {

using pcapng::ByteSpan;
using pcapng::numberAt;
using pcapng::Packet;

constexpr std::size_t kShortestBlock = 12;  // type, length, and the length once more
constexpr std::size_t kMaxBlockBytes = std::size_t{1} << 20;  // Wireshark takes less
constexpr std::size_t kMaxRecordBytes = std::size_t{1} << 24;
constexpr std::size_t kMaxInterfaces = std::size_t{1} << 16;

struct Interface {
  std::uint16_t linkType = 0;
  std::uint32_t snapLength = 0;
  std::optional<Direction> direction;
  pcapng::TimeBase time;
  bool isToldOf = false;  // that its packets are skipped

  bool isOurs() const {
    return linkType == pcapng::kLinkType || linkType == pcapng::kOtherLinkType;
  }
};

RecordKind kindOf(std::uint32_t flags) {
  if ((flags & pcapng::kChecksumError) != 0) return RecordKind::kFault;
  if ((flags & pcapng::kTooLong) != 0) return RecordKind::kLong;
  if ((flags & pcapng::kTooShort) != 0) return RecordKind::kShort;
  if ((flags & pcapng::kUnaligned) != 0) return RecordKind::kTorn;
  if ((flags & pcapng::kStartDelimiter) != 0) return RecordKind::kNoise;
  return RecordKind::kFrame;
}

// The kind of a packet without bytes is the word in front of its comment.
void takeKindFromNote(TrafficRecord& record) {
  for (const RecordKind kind : kRecordKinds) {
    const std::string_view word = recordKindText(kind);
    if (kind <= RecordKind::kLong || !record.note.starts_with(word)) continue;
    const std::string_view rest = std::string_view(record.note).substr(word.size());
    // A program may have added a comment of its own.
    if (!rest.empty() && !rest.starts_with(": ") && !rest.starts_with('\n')) continue;
    record.kind = kind;
    const std::size_t separator = rest.empty() ? 0 : rest.starts_with('\n') ? 1 : 2;
    record.note.erase(0, word.size() + separator);
    return;
  }
}

class PcapngReader : public RecordReader {
 public:
  explicit PcapngReader(InputBuffer input) : input_(std::move(input)) {}

  bool next(TrafficRecord& record) override {
    record_ = &record;
    bool isWhole = false;
    while (!isWhole) {
      if (!readBlock(isWhole)) return false;
    }
    return true;
  }

 private:
  // The outcome of a step: false where the input has ended, or cannot be read any further.
  bool readBlock(bool& isWhole);
  bool readSection(ByteSpan block);
  void readInterface(ByteSpan block);
  bool readPacket(std::uint32_t type, ByteSpan block);
  bool takePacket(const Packet& packet, const Interface& interface);

  bool end(const std::string& reason) {
    tell(reason);
    isEnded_ = true;
    return false;
  }
  void tell(const std::string& reason) { warn({blockOffset_, false, reason}); }
  void dropIncomplete() {
    if (std::exchange(goesOn_, false)) {
      tell("The packet before this one is to go on here; what came of its record is left out");
    }
  }

  InputBuffer input_;
  std::uint64_t blockOffset_ = 0;
  bool isEnded_ = false;
  bool isInSection_ = false;
  bool isBigEndian_ = false;
  bool isKnownVersion_ = false;
  std::vector<Interface> interfaces_;
  TrafficRecord* record_ = nullptr;
  // A record in several packets: it lies here until the last of them.
  bool goesOn_ = false;
  std::size_t goesOnAt_ = 0;
  TrafficRecord incomplete_;
};

bool PcapngReader::readBlock(bool& isWhole) {
  if (isEnded_) return false;
  blockOffset_ = input_.offset();
  ByteSpan block = input_.peek(kShortestBlock);
  if (block.empty()) {
    if (blockOffset_ == 0) return end("The file is empty");
    if (goesOn_) return end("The file ends inside a record of several packets, which is left out");
    isEnded_ = true;
    return false;
  }
  if (block.size() < kShortestBlock) return end("The file breaks off inside the head of a block");

  const bool isSection = numberAt<std::uint32_t>(block, 0, false) == pcapng::kSectionHeader;
  if (isSection) {
    isBigEndian_ = numberAt<std::uint32_t>(block, 8, true) == pcapng::kByteOrderMagic;
    if (!isBigEndian_ && numberAt<std::uint32_t>(block, 8, false) != pcapng::kByteOrderMagic) {
      return end("The section has no byte order; the rest is not read");
    }
  } else if (!isInSection_) {
    return end("The file does not begin as a pcapng file");
  }
  const auto type = numberAt<std::uint32_t>(block, 0, isBigEndian_);
  const std::size_t length = numberAt<std::uint32_t>(block, 4, isBigEndian_);
  if (length < kShortestBlock || length % 4 != 0) {
    return end("A block of " + std::to_string(length) + " bytes cannot be; the rest is not read");
  }

  const bool isPacket = type == pcapng::kEnhancedPacket || type == pcapng::kSimplePacket ||
                        type == pcapng::kObsoletePacket;
  const bool isRead = isSection || (isKnownVersion_ && (isPacket || type == pcapng::kInterface));
  if (isRead && length <= kMaxBlockBytes) {
    block = input_.peek(length);
  } else {
    if (isRead) tell("A block of " + std::to_string(length) + " bytes is too long; it is skipped");
    if (input_.skip(length) < length) return end("The file breaks off inside a block");
    return true;
  }
  if (block.size() < length) {
    return end("The file breaks off inside a block of " + std::to_string(length) +
               " bytes, of which " + std::to_string(block.size()) + " are there");
  }
  block = block.first(length);
  if (numberAt<std::uint32_t>(block, length - 4, isBigEndian_) != length) {
    return end("The two lengths of a block differ; the rest is not read");
  }
  const ByteSpan content = block.first(length - 4);
  if (isSection) {
    if (!readSection(content)) return false;
  } else if (isPacket) {
    isWhole = readPacket(type, content);
  } else {
    readInterface(content);
  }
  input_.consume(length);
  return true;
}

bool PcapngReader::readSection(ByteSpan block) {
  constexpr std::size_t kHeaderBytes = 24;
  if (block.size() < kHeaderBytes) return end("The head of a section is too short");
  dropIncomplete();
  const auto version = numberAt<std::uint16_t>(block, 12, isBigEndian_);
  isInSection_ = true;
  isKnownVersion_ = version == 1;
  interfaces_.clear();
  if (!isKnownVersion_) {
    tell("Version " + std::to_string(version) + " of pcapng is not known; the section is skipped");
  }
  return true;
}

void PcapngReader::readInterface(ByteSpan block) {
  constexpr std::size_t kHeaderBytes = 16;
  Interface interface;
  if (block.size() < kHeaderBytes || interfaces_.size() == kMaxInterfaces) {
    tell("An interface cannot be read; its packets are skipped");
    if (interfaces_.size() < kMaxInterfaces) interfaces_.push_back(interface);
    return;
  }
  interface.linkType = numberAt<std::uint16_t>(block, 8, isBigEndian_);
  interface.snapLength = numberAt<std::uint32_t>(block, 12, isBigEndian_);
  pcapng::Options options(block.subspan(kHeaderBytes), isBigEndian_);
  while (const auto option = options.next()) {
    const ByteSpan value = option->value;
    if (option->code == pcapng::kInterfaceName) {
      const std::string_view name(reinterpret_cast<const char*>(value.data()), value.size());
      if (name == pcapng::kToDisplayName) {
        interface.direction = Direction::kToDisplay;
      } else if (name == pcapng::kToPhoneName) {
        interface.direction = Direction::kToPhone;
      }
    } else if (option->code == pcapng::kTimeResolution && value.size() == 1) {
      interface.time.resolution = value[0];
    } else if (option->code == pcapng::kTimeOffset && value.size() == 8) {
      interface.time.offset =
          static_cast<std::int64_t>(numberAt<std::uint64_t>(value, 0, isBigEndian_));
    }
  }
  interfaces_.push_back(interface);
}

// Whether a record is complete with it.
bool PcapngReader::readPacket(std::uint32_t type, ByteSpan block) {
  const std::uint32_t snapLength = interfaces_.empty() ? 0 : interfaces_[0].snapLength;
  const std::optional<Packet> packet = pcapng::packetIn(type, block, isBigEndian_, snapLength);
  if (!packet) {
    tell("A packet cannot be read; it is skipped");
    return false;
  }
  if (packet->interface >= interfaces_.size()) {
    tell("A packet of interface " + std::to_string(packet->interface) +
         ", of which nothing is known, is skipped");
    return false;
  }
  Interface& interface = interfaces_[packet->interface];
  if (!interface.isOurs()) {
    if (!std::exchange(interface.isToldOf, true)) {
      tell("Interface " + std::to_string(packet->interface) + " has link type " +
           std::to_string(interface.linkType) + ", not 147 or 65001; its packets are skipped");
    }
    return false;
  }
  return takePacket(*packet, interface);
}

bool PcapngReader::takePacket(const Packet& packet, const Interface& interface) {
  TrafficRecord& record = *record_;
  record.time.reset();
  if (packet.time.value_or(0) != 0) record.time = interface.time.nanoseconds(*packet.time);
  record.direction = interface.direction;
  record.note.clear();
  std::uint32_t flags = 0;
  pcapng::Options options(packet.options, isBigEndian_);
  while (const auto option = options.next()) {
    if (option->code == pcapng::kComment) {
      if (!record.note.empty()) record.note += '\n';
      record.note.append(option->value.begin(), option->value.end());
    } else if (option->code == pcapng::kPacketFlags && option->value.size() == 4) {
      flags = numberAt<std::uint32_t>(option->value, 0, isBigEndian_);
      record.direction.reset();
      const std::uint32_t direction = flags & pcapng::kDirectionMask;
      if (direction == pcapng::kInbound) record.direction = Direction::kToDisplay;
      if (direction == pcapng::kOutbound) record.direction = Direction::kToPhone;
    }
  }
  record.kind = kindOf(flags);
  const bool goesOn = (flags & pcapng::kGoesOn) != 0;
  if (packet.wireLength > packet.bytes.size()) {
    tell("Of a packet of " + std::to_string(packet.wireLength) + " bytes only " +
         std::to_string(packet.bytes.size()) + " were captured");
    if (record.kind == RecordKind::kFrame) record.kind = RecordKind::kTorn;
  }

  if (goesOn_ && (goesOnAt_ != packet.interface || incomplete_.time != record.time ||
                  incomplete_.bytes.size() + packet.bytes.size() > kMaxRecordBytes)) {
    dropIncomplete();
  }
  if (goesOn_ || goesOn) {
    if (!goesOn_) {
      incomplete_ = record;
      incomplete_.bytes.clear();
      goesOnAt_ = packet.interface;
    }
    incomplete_.bytes.insert(incomplete_.bytes.end(), packet.bytes.begin(), packet.bytes.end());
    goesOn_ = goesOn;
    if (goesOn) return false;
    std::swap(record, incomplete_);
    return true;
  }
  record.bytes.assign(packet.bytes.begin(), packet.bytes.end());
  if (record.bytes.empty() && record.kind == RecordKind::kFrame) takeKindFromNote(record);
  return true;
}

}  // namespace

std::unique_ptr<RecordReader> makePcapngReader(InputBuffer input) {
  return std::make_unique<PcapngReader>(std::move(input));
}

}  // namespace varno
