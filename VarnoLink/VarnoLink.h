#pragma once

// Links: what carries frames between an application and a display. All that an application includes
// for it.

#include <VarnoLink/Address.h>
#include <VarnoLink/CaptureRecorder.h>
#include <VarnoLink/Clock.h>
#include <VarnoLink/Duration.h>
#include <VarnoLink/Fault.h>
#include <VarnoLink/FaultStage.h>
#include <VarnoLink/FrameInbox.h>
#include <VarnoLink/FrameWriter.h>
#include <VarnoLink/Link.h>
#include <VarnoLink/LinkLoop.h>
#include <VarnoLink/LinkNetwork.h>
#include <VarnoLink/LinkOptions.h>
#include <VarnoLink/LinkTimer.h>
#include <VarnoLink/LinkWatch.h>
#include <VarnoLink/MainThreadDescriptor.h>
#include <VarnoLink/RecordCutter.h>
#include <VarnoLink/Relay.h>
#include <VarnoLink/TrafficObserver.h>
