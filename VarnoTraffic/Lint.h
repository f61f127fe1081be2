#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoTraffic/PacketDirectory.h>

#include <string>
#include <vector>

namespace varno {

// What the wire will not carry as it stands in the packet: a sentence for each such thing, as
// "message: text of 40000 bytes: the receiver reads an empty one". None shows a field's value. An
// absent text goes out as an empty one, which counts as carried. Throws what the packet throws when
// it is written.
VARNO_EXPORT std::vector<std::string> lint(const HudPacket& packet,
                                           const PacketDirectory& directory = PacketDirectory());

}  // namespace varno
