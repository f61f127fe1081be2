#include <VarnoNetwork/Network/PacketDrop.h>
#include <VarnoNetwork/Network/TextFormat.h>

namespace varno {

std::string PacketDrop::description() const {
  const std::string_view name = type ? type->name() : std::string_view();
  switch (reason) {
    case Reason::kPayloadEnds:
      return formatText("%@: the payload ends inside %@ at byte %lld", name, field,
                        static_cast<std::int64_t>(position));
    case Reason::kPayloadRefused:
      if (field.empty()) return formatText("%@: the payload is refused", name);
      return formatText("%@: the payload is refused at %@", name, field);
    case Reason::kTypeLeftOut: return formatText("%@ is left out: %@", name, cause);
    case Reason::kUnknownId: break;
  }
  return formatText("unknown id: command[%d] param1[%d] param2[%d]", identifiers.command,
                    identifiers.param1, identifiers.param2);
}

}  // namespace varno
