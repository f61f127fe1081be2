#include "Terminal.h"

#include <fcntl.h>

#include <cstdlib>

namespace varno::example {
namespace {

// All eight bits of every byte, without echo, flow control or line editing.
void makeRaw(int descriptor, speed_t speed) {
  termios settings{};
  if (::tcgetattr(descriptor, &settings) != 0) throwErrno("not a serial device");
  ::cfmakeraw(&settings);
  settings.c_cflag |= CLOCAL | CREAD;  // no modem lines
  settings.c_cc[VMIN] = 1;
  settings.c_cc[VTIME] = 0;
  ::cfsetispeed(&settings, speed);
  ::cfsetospeed(&settings, speed);
  if (::tcsetattr(descriptor, TCSANOW, &settings) != 0) throwErrno("cannot set the serial device");
}

}  // namespace

Descriptor openSerialDevice(const std::string& path, speed_t speed) {
  Descriptor device(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (device.number() < 0) throwErrno(path.c_str());
  makeRaw(device.number(), speed);
  return device;
}

PseudoTerminal openPseudoTerminal() {
  Descriptor side(::posix_openpt(O_RDWR | O_NOCTTY));
  if (side.number() < 0 || ::grantpt(side.number()) != 0 || ::unlockpt(side.number()) != 0) {
    throwErrno("cannot open a pseudo-terminal");
  }
  makeNonBlocking(side.number());
  // Here as well as when the other side is opened: bytes may be written before that.
  makeRaw(side.number(), B115200);
  const char* other = ::ptsname(side.number());  // NOLINT(concurrency-mt-unsafe)
  if (other == nullptr) throwErrno("a pseudo-terminal without a name");
  return {std::move(side), other};
}

}  // namespace varno::example
