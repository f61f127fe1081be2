#include "tools/varno/Formats.h"

#include "tools/varno/Frames.h"

#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoTraffic/FrameContent.h>

#include <algorithm>
#include <array>
#include <ostream>
#include <span>

namespace varno::tool {
namespace {

struct Format {
  InputFormat format;
  std::string_view name;
  std::array<std::string_view, 3> endings;
};

constexpr std::array kFormats = {
    Format{InputFormat::kPcapng, "pcapng", {".pcapng"}},
    Format{InputFormat::kJsonLines, "json", {".json", ".jsonl", ".ndjson"}},
    Format{InputFormat::kTextLines, "text", {".txt"}},
    Format{InputFormat::kHexDump, "dump", {".log"}},
    Format{InputFormat::kHexText, "hex", {".hex"}},
    Format{InputFormat::kWire, "wire", {".bin", ".wire"}},
};

// The bytes of the records, and nothing that tells where one ends.
class WireWriter : public RecordWriter {
 public:
  explicit WireWriter(std::ostream& output) : output_(output) {}

  bool write(const TrafficRecord& record) override {
    return output_
        .write(reinterpret_cast<const char*>(record.bytes.data()),
               static_cast<std::streamsize>(record.bytes.size()))
        .good();
  }
  bool flush() override { return output_.flush().good(); }

 private:
  std::ostream& output_;
};

class HexWriter : public RecordWriter {
 public:
  explicit HexWriter(std::ostream& output) : output_(output) {}

  bool write(const TrafficRecord& record) override {
    if (record.bytes.empty()) return true;
    line_.clear();
    appendHex(line_, record.bytes);
    line_ += '\n';
    return output_.write(line_.data(), static_cast<std::streamsize>(line_.size())).good();
  }
  bool flush() override { return output_.flush().good(); }

 private:
  std::ostream& output_;
  std::string line_;
};

// Has the library itself log its dumps, under the labels that a network gives them.
class DumpWriter : public RecordWriter {
 public:
  explicit DumpWriter(std::ostream& output) : output_(output) {}

  bool write(const TrafficRecord& record) override {
    if (record.bytes.empty()) return true;
    lines_.clear();
    HudLog::setSink([this](std::string_view line) { lines_.append(line).append("\n"); });
    HudPacket::hexDump(labelOf(record), record.bytes);
    HudLog::setSink([](std::string_view) {});
    return output_.write(lines_.data(), static_cast<std::streamsize>(lines_.size())).good();
  }
  bool flush() override { return output_.flush().good(); }

 private:
  std::string labelOf(const TrafficRecord& record) const {
    if (record.direction == Direction::kToPhone) return "ReceivePacket";
    if (!record.direction) return std::string(recordKindText(record.kind));
    const PacketDirectory::Entry* const entry =
        record.kind == RecordKind::kFrame ? entryOf(record.bytes, directory_) : nullptr;
    return "SendPacket(" +
           std::string(entry != nullptr ? entry->type.name() : recordKindText(record.kind)) + ")";
  }

  std::ostream& output_;
  PacketDirectory directory_;
  std::string lines_;
};

}  // namespace

std::vector<std::string> formatNames() {
  std::vector<std::string> names;
  names.reserve(kFormats.size());
  for (const Format& format : kFormats) names.emplace_back(format.name);
  return names;
}

InputFormat formatNamed(std::string_view name) {
  return std::find_if(kFormats.begin(), kFormats.end(),
                      [name](const Format& format) { return format.name == name; })
      ->format;
}

std::optional<InputFormat> formatOfName(std::string_view path) {
  for (const Format& format : kFormats) {
    for (const std::string_view ending : format.endings) {
      if (!ending.empty() && path.ends_with(ending)) return format.format;
    }
  }
  return std::nullopt;
}

std::string formatEndings() {
  std::string text;
  for (const Format& format : kFormats) {
    if (!text.empty()) text += ", ";
    text.append(format.endings[0]).append(" (").append(format.name).append(")");
  }
  return text;
}

bool isOneStream(InputFormat format) {
  return format == InputFormat::kHexText || format == InputFormat::kWire;
}

std::unique_ptr<RecordWriter> makeWriter(InputFormat format, std::ostream& output,
                                         Secrets secrets) {
  switch (format) {
    case InputFormat::kPcapng: return std::make_unique<PcapngWriter>(output);
    case InputFormat::kJsonLines: return std::make_unique<LineWriter>(output, JsonPrinter(secrets));
    case InputFormat::kTextLines:
      return std::make_unique<LineWriter>(output, NotationPrinter(secrets));
    case InputFormat::kHexDump: return std::make_unique<DumpWriter>(output);
    case InputFormat::kHexText: return std::make_unique<HexWriter>(output);
    default: return std::make_unique<WireWriter>(output);
  }
}

}  // namespace varno::tool
