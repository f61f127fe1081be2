#pragma once

// A display when none is on the desk. All that an application includes for it.

#include <VarnoDisplay/DisplayCodes.h>
#include <VarnoDisplay/DisplayDesk.h>
#include <VarnoDisplay/DisplayOptions.h>
#include <VarnoDisplay/DisplayState.h>
#include <VarnoDisplay/InProcessScenario.h>
#include <VarnoDisplay/PacketEffects.h>
#include <VarnoDisplay/Scenario.h>
#include <VarnoDisplay/ScenarioPeer.h>
#include <VarnoDisplay/ScenarioResult.h>
#include <VarnoDisplay/ScenarioRunner.h>
#include <VarnoDisplay/ScenarioWriter.h>
#include <VarnoDisplay/SimulatedDisplay.h>
#include <VarnoDisplay/StateChange.h>
#include <VarnoDisplay/TrafficHistory.h>
