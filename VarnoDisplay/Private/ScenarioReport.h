#pragma once

#include <VarnoDisplay/Scenario.h>

#include <cstdint>
#include <span>
#include <string>

namespace varno {

// Whether the statement counts as a case of its own in the result.
bool isScenarioCase(const ScenarioStatement& statement);

// A frame in the one-line notation, with what is wrong with it; secrets hidden.
std::string frameText(std::span<const std::uint8_t> frame, const PacketDirectory& directory);

// Why a text with variables is of no use: one has no value yet, or, by the error that reading gave,
// has a value that does not fit.
std::string unresolvedText(const std::string& text, const NotationVariables& variables,
                           const std::string& error);

}  // namespace varno
