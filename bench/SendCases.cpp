#include <bench/Case.h>
#include <bench/PeerCases.h>
#include <bench/ReferenceNetwork.h>
#include <bench/SamplePackets.h>
#include <bench/Transport.h>

namespace varno::bench {

// The floor: the frame's memory, a copy of the finished frame into it, and the virtual call.
std::vector<Case> sendCases() {
  std::vector<Case> cases;
  const std::shared_ptr<HudNetwork> network = std::make_shared<Transport>();
  const std::shared_ptr<IHudNetworkImpl> transport = makeTransport();
  for (const auto& [name, packet] : samplePackets()) {
    const Bytes frame = frameOf(*packet);
    require(frame == reference::Network::frameOf(*packet), "the frames of " + name);
    cases.push_back(
        {.name = "send " + name,
         .library = repeat([network, packet = packet] { network->sendPacket(*packet); }),
         .floor = repeat(
             [transport, frame] { transport->sendPacketImpl(Bytes(frame.begin(), frame.end())); }),
         .peer = sendingPeer(*packet),
         .reference = repeat([transport, packet = packet] {
           reference::Network::sendPacket(*packet, *transport);
         })});
  }
  return cases;
}

}  // namespace varno::bench
