#pragma once

#include <VarnoLink/Private/Descriptor.h>

#include <cstdint>
#include <string>

namespace varno {

struct SerialDevice {
  Descriptor descriptor;
  std::string hint;  // what is not as it should be, for people; or empty
};

// Opens a device such as /dev/ttyUSB0 for this program alone: non-blocking, 8N1, all bytes passed
// as they are, its control signals as they were. Throws LinkFailure and std::system_error.
SerialDevice openSerialDevice(const std::string& path, std::uint32_t baud);

// All eight bits of every byte, without echo, flow control or line editing. Throws
// std::system_error.
void makeRaw(int terminal);

// What came in and was not read yet.
void discardInput(int terminal) noexcept;

}  // namespace varno
