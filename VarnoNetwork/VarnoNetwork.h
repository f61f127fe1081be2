#pragma once

// All that an application includes.

#include <VarnoNetwork/Network/Command/KeepAliveCommandPacket.h>
#include <VarnoNetwork/Network/Command/SystemTimeCommandPacket.h>
#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoNetwork/Network/HudNetwork.h>
#include <VarnoNetwork/Network/MainThread.h>
#include <VarnoNetwork/Network/PacketCatalogue.h>
#include <VarnoNetwork/Version.h>
