#pragma once

// What passed over a link, as values. All that an application includes for it.

#include <VarnoTraffic/FrameCutter.h>
#include <VarnoTraffic/InputFormat.h>
#include <VarnoTraffic/PcapngWriter.h>
#include <VarnoTraffic/RecordReader.h>
#include <VarnoTraffic/TrafficRecord.h>
