#include <VarnoNetwork/Network/Event/HudVersionEventPacket.h>
#include <VarnoNetwork/Network/HudLog.h>

#include <algorithm>

namespace varno {
namespace {

constexpr char kSeparator = '&';

}  // namespace

void HudVersionEventPacket::appendPayload(HudOutputStream& stream) const {
  std::string text;
  const auto append = [&text](const HudString& part) {
    if (part) text += *part;
  };
  append(modelName_);
  text += kSeparator;
  append(systemVersion_);
  // On purpose nothing stands between the two versions, although parsePayload refuses the result.
  append(bleVersion_);
  stream.writeUTF(text);
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
  HudString systemVersion = text->substr(first + 1, second - first - 1);
  HudString bleVersion = text->substr(second + 1);
  text->resize(first);
  // Nothing below throws, so all fields change or none.
  modelName_ = std::move(text);
  systemVersion_ = std::move(systemVersion);
  bleVersion_ = std::move(bleVersion);
  return true;
}

}  // namespace varno
