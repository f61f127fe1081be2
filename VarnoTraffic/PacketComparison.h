#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudPacket.h>

namespace varno {

// Whether both are packets of one type with the same values in all fields, those included that the
// wire does not carry. Floats are compared by their bits, and what is absent equals only what is
// absent; a record or set by null pointer counts as an empty one.
VARNO_EXPORT bool operator==(const HudPacket& left, const HudPacket& right);

}  // namespace varno
