#pragma once

#include <VarnoNetwork/Network/HudPacket.h>
#include <bench/Case.h>

namespace varno::bench {

// A sample packet's content, sent and received by the codec of PeerCodec.h.
Loop sendingPeer(const HudPacket& packet);
Loop receivingPeer(const HudPacket& packet);

}  // namespace varno::bench
