#pragma once

// What passed over a link, as values. All that an application includes for it.

#include <VarnoTraffic/Explanation.h>
#include <VarnoTraffic/FieldCondition.h>
#include <VarnoTraffic/FrameContent.h>
#include <VarnoTraffic/FrameCutter.h>
#include <VarnoTraffic/InputFormat.h>
#include <VarnoTraffic/JsonLines.h>
#include <VarnoTraffic/LineWriter.h>
#include <VarnoTraffic/Lint.h>
#include <VarnoTraffic/NearestName.h>
#include <VarnoTraffic/Notation.h>
#include <VarnoTraffic/NotationVariables.h>
#include <VarnoTraffic/PacketComparison.h>
#include <VarnoTraffic/PacketDirectory.h>
#include <VarnoTraffic/PacketPattern.h>
#include <VarnoTraffic/PcapngWriter.h>
#include <VarnoTraffic/RealText.h>
#include <VarnoTraffic/RecordReader.h>
#include <VarnoTraffic/Secrets.h>
#include <VarnoTraffic/TrafficRecord.h>
