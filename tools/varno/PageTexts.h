#pragma once

#include "tools/page/PageServer.h"

#include <VarnoDisplay/DisplayState.h>
#include <VarnoLink/FaultStage.h>
#include <VarnoLink/Link.h>

#include <array>
#include <string>
#include <vector>

namespace varno::tool {

inline constexpr std::array kBothDirections = {Direction::kToDisplay, Direction::kToPhone};

// The kinds of faults, as PageOptions::faultKinds has them.
std::string faultKindsJson();

// What the driver sees, as the page wants it.
SeenState seenState(const DisplayState& state);

// A link as the page shows it.
PageLink pageLink(const std::string& name, const LinkStatus& status);

// Appends the faults as the page shows them: "< corrupt byte=7 (acted on 2)".
void appendFaults(std::vector<std::string>& texts, Direction direction,
                  const std::vector<FaultStage::Entry>& faults);

}  // namespace varno::tool
