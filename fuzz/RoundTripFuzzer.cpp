#include <tests/reference/FieldText.h>
#include "FuzzSupport.h"

#include <VarnoNetwork/VarnoNetwork.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

// Takes an input for what stands between the marks of a frame. A packet that it parses to is sent,
// and its frame received again: the fields have to be the same.

namespace varno::fuzz {
namespace {

using Bytes = std::vector<std::uint8_t>;

class Inbox : public PacketHandleDelegate {
 public:
  void onPacketReceived(const std::shared_ptr<HudPacket>& received) override { packet = received; }

  std::shared_ptr<HudPacket> packet;
};

class Link : public HudNetwork {
 public:
  Link() {
    HudLog::setSink([](std::string_view) {});  // refused version texts are not looked at here
    registerPacketHandleDelegate(inbox_);
  }

  // The packet of the frame; null where it is dropped.
  std::shared_ptr<HudPacket> receive(ByteSpan frame) {
    handleRawPacket(frame);
    return std::exchange(inbox_->packet, nullptr);
  }

  Bytes send(const HudPacket& packet) {
    require(sendPacket(packet), "a packet can be sent");
    return std::exchange(sent_, {});
  }

 private:
  bool sendPacketImpl(Bytes frame) override {
    sent_ = std::move(frame);
    return true;
  }

  const std::shared_ptr<Inbox> inbox_ = std::make_shared<Inbox>();
  Bytes sent_;
};

void roundTrip(Link& link, ByteSpan body) {
  Bytes frame{STX};
  frame.insert(frame.end(), body.begin(), body.end());
  frame.push_back(ETX);
  std::shared_ptr<HudPacket> packet;
  try {
    packet = link.receive(frame);
  } catch (const InvalidArgumentException&) {
    return;
  } catch (const IndexOutOfBoundsException&) {
    return;
  }
  if (!packet) return;

  const Bytes sent = link.send(*packet);
  require(std::none_of(sent.begin() + 1, sent.end() - 1,
                       [](std::uint8_t byte) { return byte == STX || byte == ETX; }),
          "no mark inside a frame");
  const std::shared_ptr<HudPacket> again = link.receive(sent);
  if (dynamic_cast<const HudVersionEventPacket*>(packet.get()) != nullptr) {
    // Its writer omits a separator that its reader requires.
    require(again == nullptr, "a version event does not read what it writes");
    return;
  }
  require(again != nullptr, "a packet reads what it writes");
  require(again->typeName() == packet->typeName(), "type after a round trip");
  require(fieldText(*again, "") == fieldText(*packet, ""), "fields after a round trip");
  require(link.send(*again) == sent, "bytes after a round trip");
}

}  // namespace
}  // namespace varno::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto& link = *new varno::fuzz::Link;
  varno::fuzz::roundTrip(link, {data, size});
  return 0;
}
