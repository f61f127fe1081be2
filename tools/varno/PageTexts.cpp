#include "tools/varno/PageTexts.h"

#include <VarnoLink/Fault.h>

#include <nlohmann/json.hpp>

namespace varno::tool {

std::string faultKindsJson() {
  nlohmann::ordered_json kinds = nlohmann::ordered_json::array();
  for (const FaultKind kind : kFaultKinds) {
    kinds.push_back({{"kind", faultKindText(kind)},
                     {"parameters", faultParametersText(kind)},
                     {"summary", faultSummary(kind)}});
  }
  return kinds.dump();
}

PageLink pageLink(const std::string& name, const LinkStatus& status) {
  PageLink link{
      .name = name, .address = status.address.text(), .state = "down", .reason = status.reason};
  if (status.state == LinkState::kUp) link.state = "up";
  if (status.state == LinkState::kConnecting) {
    link.state = status.address.isListening() ? "listening" : "connecting";
  }
  return link;
}

void appendFaults(std::vector<std::string>& texts, Direction direction,
                  const std::vector<FaultStage::Entry>& faults) {
  for (const FaultStage::Entry& entry : faults) {
    texts.push_back(faultText(DirectedFault{.direction = direction, .fault = entry.fault}) +
                    " (acted on " + std::to_string(entry.acted) + ")");
  }
}

}  // namespace varno::tool
