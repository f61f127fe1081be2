#include "FuzzSupport.h"
#include "tests/traffic/TrafficSupport.h"

#include <VarnoTraffic/VarnoTraffic.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// Takes an input for a frame, and for what stands between the marks of one. The spans of its
// explanation have to cover it, its verdict has to be a network's, and its line of text has to be
// read as the same bytes.

namespace varno::fuzz {
namespace {

using Bytes = std::vector<std::uint8_t>;

const PacketRegistration<test::EveryFieldPacket> kEveryField;

class Inbox : public PacketHandleDelegate {
 public:
  void onPacketReceived(const std::shared_ptr<HudPacket>& received) override { packet = received; }

  std::shared_ptr<HudPacket> packet;
};

// What a network does with a frame: "delivered", "dropped" or "refused", and the exception.
std::pair<std::string, std::string> verdictOfNetwork(ByteSpan frame) {
  static const auto& inbox = *new std::shared_ptr<Inbox>(std::make_shared<Inbox>());
  static auto& network = *[] {
    auto* made = new HudNetwork;
    made->registerPacketHandleDelegate(inbox);
    return made;
  }();
  try {
    network.handleRawPacket(frame);
  } catch (const HudException& exception) {
    return {"refused", std::string(exception.name()) + ": " + exception.reason()};
  }
  const bool isDelivered = std::exchange(inbox->packet, nullptr) != nullptr;
  return {isDelivered ? "delivered" : "dropped", {}};
}

void explain(ByteSpan frame) {
  static const auto& directory = *new PacketDirectory;
  static auto& printer = *new NotationPrinter(Secrets::kShown);
  static auto& hidingPrinter = *new NotationPrinter(Secrets::kHidden);
  static auto& json = *new JsonPrinter(Secrets::kHidden);
  static const auto& reader = *new NotationReader;

  const Explanation explanation = explainFrame(frame, directory);
  Bytes covered;
  for (const FrameSpan& span : explanation.spans) {
    require(span.offset == covered.size() && !span.wire.empty(), "spans follow each other");
    covered.insert(covered.end(), span.wire.begin(), span.wire.end());
  }
  require(covered == Bytes(frame.begin(), frame.end()), "the spans are the frame");
  const auto [verdict, exception] = verdictOfNetwork(frame);
  require(verdict == verdictText(explanation.verdict), "the verdict is the network's");
  require(exception.empty() || exception == explanation.reason, "and so is the exception");
  require(explanation.reason.empty() == (verdict == "delivered"),
          "what is not delivered has a reason");
  require(!explanation.table().empty(), "there is a table");

  TrafficRecord record;
  record.bytes = covered;
  std::string line;
  printer.append(line, record);
  TrafficRecord again;
  NotationError error;
  require(reader.read(line, again, error) && again == record, "the line is the frame");
  require(explanation.isExact != (line.starts_with("raw")), "what is exact is told by values");
  line.clear();
  hidingPrinter.append(line, record);
  json.append(line, record);
}

}  // namespace
}  // namespace varno::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  varno::HudLog::setSink([](std::string_view) {});  // refused version texts are not looked at here
  varno::fuzz::explain({data, size});
  std::vector<std::uint8_t> frame{varno::STX};
  frame.insert(frame.end(), data, data + size);
  frame.push_back(varno::ETX);
  varno::fuzz::explain(frame);
  return 0;
}
