#pragma once

// Links: what carries frames between an application and a display. All that an application includes
// for it.

#include <VarnoLink/Clock.h>
#include <VarnoLink/Duration.h>
#include <VarnoLink/Fault.h>
#include <VarnoLink/FaultStage.h>
