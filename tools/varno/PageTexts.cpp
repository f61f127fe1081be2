#include "tools/varno/PageTexts.h"

#include <VarnoDisplay/StateChange.h>
#include <VarnoLink/Fault.h>

#include <nlohmann/json.hpp>

#include <optional>
#include <string_view>

namespace varno::tool {
namespace {

struct HeldBytes {
  std::size_t bytes = 0;

  void operator()(std::string_view /*name*/, const std::string& text) { bytes += text.size(); }
  void operator()(std::string_view /*name*/, const StringSet& texts) {
    constexpr std::size_t kNode = 32;
    for (const std::string& text : texts) bytes += kNode + sizeof(std::string) + text.size();
  }
  template <class Value>
  void operator()(std::string_view name, const std::optional<Value>& value) {
    if (value) (*this)(name, *value);
  }
  template <DisplayRecord Record>
  void operator()(std::string_view /*name*/, const std::vector<Record>& records) {
    bytes += records.size() * sizeof(Record);
    for (const Record& record : records) Record::walk(*this, record);
  }
  template <DisplayRecord Record>
  void operator()(std::string_view /*name*/, const Record& record) {
    Record::walk(*this, record);
  }
  template <class Value>
  void operator()(std::string_view /*name*/, const Value& /*other*/) {}
};

}  // namespace

SeenState seenState(const DisplayState& state) {
  HeldBytes held{.bytes = sizeof state};
  DisplayState::walk(held, state);
  return {.json = [state] { return jsonOf(state); }, .bytes = held.bytes};
}

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
