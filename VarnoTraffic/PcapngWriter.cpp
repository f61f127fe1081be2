#include <VarnoTraffic/PcapngWriter.h>

#include <VarnoNetwork/Version.h>
#include <VarnoTraffic/Private/Characters.h>
#include <VarnoTraffic/Private/Pcapng.h>

#include <algorithm>
#include <array>
#include <ostream>
#include <span>

namespace varno {
namespace {

constexpr std::size_t kMaxCommentBytes = 65000;

std::uint32_t errorBits(const TrafficRecord& record) {
  switch (record.kind) {
    case RecordKind::kNoise: return pcapng::kStartDelimiter;
    case RecordKind::kTorn: return pcapng::kUnaligned;
    case RecordKind::kShort: return pcapng::kTooShort;
    case RecordKind::kLong: return pcapng::kTooLong;
    case RecordKind::kFault: return record.bytes.empty() ? 0 : pcapng::kChecksumError;
    default: return 0;
  }
}

std::uint32_t directionBits(const TrafficRecord& record) {
  if (!record.direction) return 0;
  return *record.direction == Direction::kToDisplay ? pcapng::kInbound : pcapng::kOutbound;
}

// Whether the comment has to name the kind, since nothing else does.
bool isNamed(const TrafficRecord& record) {
  return record.kind > RecordKind::kLong && errorBits(record) == 0;
}

std::string commentOf(const TrafficRecord& record) {
  std::string comment;
  if (isNamed(record)) {
    comment = recordKindText(record.kind);
    if (!record.note.empty()) comment += ": ";
  }
  comment += record.note;
  if (comment.size() > kMaxCommentBytes) {
    std::size_t end = kMaxCommentBytes;
    while (end > 0 && (static_cast<unsigned char>(comment[end]) & 0xC0) == 0x80) --end;
    comment.resize(end);
  }
  return comment;
}

}  // namespace

PcapngWriter::PcapngWriter(std::ostream& output) : output_(output) {
  beginBlock(pcapng::kSectionHeader);
  appendNumber(pcapng::kByteOrderMagic, 4);
  appendNumber(1, 2);  // the format's version, 1.0
  appendNumber(0, 2);
  appendNumber(~std::uint64_t{0}, 8);  // the section's length: not known yet
  const std::string version = std::to_string(VARNO_NETWORK_VERSION_MAJOR) + "." +
                              std::to_string(VARNO_NETWORK_VERSION_MINOR) + "." +
                              std::to_string(VARNO_NETWORK_VERSION_PATCH);
  appendOption(pcapng::kApplication, "VarnoTraffic " + version);
  appendOption(pcapng::kEndOfOptions, {});
  endBlock();
  appendInterface(pcapng::kToDisplayName);
  appendInterface(pcapng::kToPhoneName);
  writeOut();
}

PcapngWriter::~PcapngWriter() = default;

bool PcapngWriter::write(const TrafficRecord& record) {
  refuseStrayBytes(record);
  if (!isGood_) return false;
  block_.clear();  // of what an earlier call threw on the way
  const std::uint32_t interface = record.direction == Direction::kToPhone ? 1 : 0;
  const auto time = static_cast<std::uint64_t>(std::max<std::int64_t>(record.time.value_or(0), 0));
  const std::uint32_t flags = directionBits(record) | errorBits(record);
  std::string comment = commentOf(record);
  std::span<const std::uint8_t> rest = record.bytes;
  do {
    const auto part = rest.first(std::min(rest.size(), pcapng::kMaxPacketBytes));
    rest = rest.subspan(part.size());
    beginBlock(pcapng::kEnhancedPacket);
    appendNumber(interface, 4);
    appendNumber(time >> 32, 4);
    appendNumber(time, 4);
    appendNumber(part.size(), 4);
    appendNumber(part.size(), 4);
    appendPadded(charactersOf(part));
    if (!comment.empty()) appendOption(pcapng::kComment, comment);
    comment.clear();
    appendNumber(pcapng::kPacketFlags, 2);
    appendNumber(4, 2);
    appendNumber(flags | (rest.empty() ? 0 : pcapng::kGoesOn), 4);
    appendOption(pcapng::kEndOfOptions, {});
    endBlock();
  } while (!rest.empty());
  return writeOut();
}

bool PcapngWriter::flush() {
  if (isGood_) isGood_ = output_.flush().good();
  return isGood_;
}

void PcapngWriter::beginBlock(std::uint32_t type) {
  blockStart_ = block_.size();
  appendNumber(type, 4);
  appendNumber(0, 4);  // the length, which endBlock fills in
}

// The least significant byte first, on every machine, so that the same records make the same file.
void PcapngWriter::appendNumber(std::uint64_t value, std::size_t bytes) {
  std::array<char, sizeof value> characters;
  for (std::size_t at = 0; at < bytes; ++at) {
    characters[at] = static_cast<char>(value >> (8 * at) & 0xFF);
  }
  block_.append(characters.data(), bytes);
}

void PcapngWriter::appendPadded(std::string_view bytes) {
  block_ += bytes;
  block_.append(pcapng::padded(bytes.size()) - bytes.size(), '\0');
}

void PcapngWriter::appendOption(std::uint16_t code, std::string_view value) {
  appendNumber(code, 2);
  appendNumber(value.size(), 2);
  appendPadded(value);
}

void PcapngWriter::endBlock() {
  const std::size_t length = block_.size() - blockStart_ + 4;
  appendNumber(length, 4);
  block_.replace(blockStart_ + 4, 4, block_, block_.size() - 4, 4);
}

void PcapngWriter::appendInterface(std::string_view name) {
  beginBlock(pcapng::kInterface);
  appendNumber(pcapng::kLinkType, 2);
  appendNumber(0, 2);
  appendNumber(pcapng::kMaxPacketBytes, 4);
  appendOption(pcapng::kInterfaceName, name);
  appendOption(pcapng::kTimeResolution, "\x09");
  appendOption(pcapng::kEndOfOptions, {});
  endBlock();
}

bool PcapngWriter::writeOut() {
  if (isGood_) {
    isGood_ = output_.write(block_.data(), static_cast<std::streamsize>(block_.size())).good();
  }
  return isGood_;
}

}  // namespace varno
