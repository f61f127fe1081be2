#pragma once

// A display when none is on the desk. All that an application includes for it.

#include <VarnoDisplay/TrafficHistory.h>
