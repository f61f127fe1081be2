#include <tests/reference/FieldText.h>
#include <tests/reference/ReferenceParser.h>
#include "FuzzSupport.h"

#include <VarnoNetwork/VarnoNetwork.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// Takes an input for a received frame. The network has a listener and a router for every type, the
// receive dump is on, and what arrives is described. The packet has to be what the reference codec
// reads from the frame, and nothing but the documented failures may leave handleRawPacket.

namespace varno::fuzz {
namespace {

class Listener : public PacketHandleDelegate {
 public:
  void onPacketReceived(const std::shared_ptr<HudPacket>& packet) override {
    packets.push_back(packet);
    HudLog::write(packet->description());
    HudLog::write(textOf(*packet));
  }

  static std::string textOf(const HudPacket& packet) { return fieldText(packet, "(absent)"); }

  std::vector<std::shared_ptr<HudPacket>> packets;
};

// What printableLine was given.
std::string unescaped(std::string_view printable) {
  std::string line;
  while (!printable.empty()) {
    std::size_t length = 1;
    char byte = printable[0];
    if (byte == '\\' && printable.substr(1, 1) == "x") {
      length = 4;
      byte = static_cast<char>(std::stoi(std::string(printable.substr(2, 2)), nullptr, 16));
    } else if (byte == '\\') {
      length = 2;
    }
    line += byte;
    printable.remove_prefix(length);
  }
  return line;
}

// What becomes of a frame: a packet, or a failure of this name, or neither.
struct Outcome {
  std::shared_ptr<HudPacket> packet;
  std::string_view failure;
};

class Receiver {
 public:
  Receiver() {
    HudLog::setSink([this](std::string_view line) { takeLine(line); });
    network_.setDumpPacket(true, true);
    network_.registerPacketHandleDelegate(listener_);
    network_.registerPacketHandleDelegate(router_);
  }

  void receive(ByteSpan frame) {
    listener_->packets.clear();
    lines_ = routed_ = routedByFamily_ = 0;
    std::string_view failure;
    try {
      network_.handleRawPacket(frame);
    } catch (const HudException& exception) {
      failure = exception.name();
    }
    const Outcome expected = expectedOutcome(frame);
    require(failure == expected.failure, "failure of handleRawPacket");
    const std::size_t packets = expected.packet ? 1 : 0;
    require(listener_->packets.size() == packets, "packets that the listener has");
    require(routed_ == packets, "packets that the router has");
    require(routedByFamily_ == packets, "packets that the router has by family");
    // Besides the dump the listener writes two lines, and a refused version text is one.
    const std::size_t dumpLines = 2 + (frame.size() + 7) / 8;
    require(lines_ - dumpLines <= (expected.packet ? 2 : 1), "lines of the log");
    if (!expected.packet) return;
    const HudPacket& packet = *listener_->packets.front();
    require(packet.typeName() == expected.packet->typeName(), "type of a packet");
    require(Listener::textOf(packet) == Listener::textOf(*expected.packet), "fields of a packet");
    require(packet.description() == expected.packet->description(), "description of a packet");
  }

 private:
  Outcome expectedOutcome(ByteSpan frame) const {
    if (frame.size() < 5 || frame.front() != 0x02 || frame.back() != 0x03) {
      return {nullptr, "InvalidArgumentException"};
    }
    reference::InputStream body(frame.subspan(1, frame.size() - 2));
    std::int32_t id = 0;
    try {
      for (int identifier = 0; identifier < 3; ++identifier) id = id << 8 | body.readByte();
    } catch (const IndexOutOfBoundsException& exception) {
      return {nullptr, exception.name()};
    }
    const auto type = types_.find(id);
    if (type == types_.end()) return {};
    return {parseByReference(type->second, body), {}};
  }

  void takeLine(std::string_view line) {
    const std::string printable = HudLog::printableLine(line);
    for (const char character : printable) {
      const auto byte = static_cast<std::uint8_t>(character);
      require(byte >= 0x20 && byte != 0x7F, "no control character in a printable line");
    }
    require(unescaped(printable) == line, "a printable line tells what the line was");
    ++lines_;
  }

  template <class Family>
  PacketRouter::Subscription countFamily() {
    return router_->on<Family>([this](const Family&) { ++routedByFamily_; });
  }

  HudNetwork network_;
  const HudNetwork::PacketIdToClassMap types_ = network_.packetIdToClassMap();
  const std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
  const std::shared_ptr<PacketRouter> router_ = std::make_shared<PacketRouter>();
  std::size_t lines_ = 0;
  std::size_t routed_ = 0;
  std::size_t routedByFamily_ = 0;
  const PacketRouter::Subscription subscriptions_[4] = {
      router_->onEvery([this](const HudPacket&) { ++routed_; }), countFamily<CommandPacket>(),
      countFamily<NotificationPacket>(), countFamily<EventPacket>()};
};

}  // namespace
}  // namespace varno::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto& receiver = *new varno::fuzz::Receiver;
  receiver.receive({data, size});
  return 0;
}
