#pragma once

#include <VarnoTraffic/Private/InputBuffer.h>
#include <VarnoTraffic/RecordReader.h>

#include <memory>

// The reader of each form of input. They are at the input's first byte, of which any part may have
// been looked at already.
namespace varno {

std::unique_ptr<RecordReader> makePcapngReader(InputBuffer input);
std::unique_ptr<RecordReader> makeWireReader(InputBuffer input);
std::unique_ptr<RecordReader> makeHexTextReader(InputBuffer input);
std::unique_ptr<RecordReader> makeHexDumpReader(InputBuffer input);
std::unique_ptr<RecordReader> makeTextLineReader(InputBuffer input);
std::unique_ptr<RecordReader> makeJsonLineReader(InputBuffer input);

}  // namespace varno
