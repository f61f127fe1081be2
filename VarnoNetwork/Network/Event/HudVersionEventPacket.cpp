#include <VarnoNetwork/Network/Event/HudVersionEventPacket.h>
#include <VarnoNetwork/Network/HudLog.h>

#include <algorithm>

namespace varno {
namespace {

constexpr char kSeparator = '&';

}  // namespace

void HudVersionEventPacket::appendPayload(HudOutputStream& stream) const {
  // Nothing between the versions: the display's own form, which parsePayload refuses.
  stream.writeUTF(modelName_.value_or("") + kSeparator + systemVersion_.value_or("") +
                  bleVersion_.value_or(""));
}

bool HudVersionEventPacket::parsePayload(HudInputStream& stream) {
  HudString text;
  try {
    text = stream.readUTF();
  } catch (const IndexOutOfBoundsException&) {
    return false;
  }
  if (!text || std::count(text->begin(), text->end(), kSeparator) != 2) {
    HudLog::write(formatText("Invalid version string(%@)", text));
    return false;
  }
  const std::size_t first = text->find(kSeparator);
  const std::size_t second = text->rfind(kSeparator);
  modelName_ = text->substr(0, first);
  systemVersion_ = text->substr(first + 1, second - first - 1);
  bleVersion_ = text->substr(second + 1);
  return true;
}

}  // namespace varno
