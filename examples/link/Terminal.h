#pragma once

#include "Descriptor.h"

#include <termios.h>

#include <string>

namespace varno::example {

// Opens a serial device, for example /dev/ttyUSB0: non-blocking, all bytes passed as they are.
// Throws std::system_error, here and below.
Descriptor openSerialDevice(const std::string& path, speed_t speed = B115200);

// A serial line within the machine: what is written to one side is read from the other.
struct PseudoTerminal {
  Descriptor side;    // one side of the line, non-blocking
  std::string other;  // the path of the other, for openSerialDevice
};

// One thread at a time.
PseudoTerminal openPseudoTerminal();

}  // namespace varno::example
