#pragma once

// All that an application includes.

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/EventPacket.h>
#include <VarnoNetwork/Network/FieldReader.h>
#include <VarnoNetwork/Network/FieldType.h>
#include <VarnoNetwork/Network/FieldVisitor.h>
#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/HudLog.h>
#include <VarnoNetwork/Network/HudNetwork.h>
#include <VarnoNetwork/Network/HudNetworkCounters.h>
#include <VarnoNetwork/Network/HudOutputStream.h>
#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoNetwork/Network/HudPacketFilter.h>
#include <VarnoNetwork/Network/HudString.h>
#include <VarnoNetwork/Network/IHudNetworkImpl.h>
#include <VarnoNetwork/Network/IHudPacket.h>
#include <VarnoNetwork/Network/MainThread.h>
#include <VarnoNetwork/Network/MainThreadDelivery.h>
#include <VarnoNetwork/Network/PacketCatalogue.h>
#include <VarnoNetwork/Network/PacketDrop.h>
#include <VarnoNetwork/Network/PacketHandleDelegate.h>
#include <VarnoNetwork/Network/PacketRouter.h>
#include <VarnoNetwork/Network/PacketType.h>
#include <VarnoNetwork/Network/PacketTypes.h>
#include <VarnoNetwork/Network/TypedPacket.h>
#include <VarnoNetwork/Network/WaitCancellation.h>
#include <VarnoNetwork/Network/Wire.h>
#include <VarnoNetwork/Version.h>
