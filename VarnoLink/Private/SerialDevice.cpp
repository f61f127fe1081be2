#include <VarnoLink/Private/SerialDevice.h>

#include <VarnoLink/Private/DeviceHolders.h>
#include <VarnoLink/Private/LinkFailure.h>
#include <VarnoLink/Private/SerialBaud.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/sysmacros.h>
#endif

#include <cerrno>

namespace varno {
namespace {

[[noreturn]] void throwHeld(const std::string& path) {
  const std::string holders = deviceHolders(path);
  throw LinkFailure("another program holds the device: " +
                    (holders.empty() ? "one that cannot be seen from here (ModemManager takes new "
                                       "devices for a while)"
                                     : holders));
}

// The other side of a pseudo-terminal keeps the mark of exclusive use when this one is closed, and
// nobody could open it again.
bool isPseudoTerminal(int terminal) {
#if defined(__linux__)
  struct stat status {};
  return ::fstat(terminal, &status) == 0 && ::major(status.st_rdev) >= 136 &&
         ::major(status.st_rdev) <= 143;
#else
  static_cast<void>(terminal);
  return false;
#endif
}

}  // namespace

SerialDevice openSerialDevice(const std::string& path, std::uint32_t baud) {
  Descriptor device(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!device && errno == EBUSY) throwHeld(path);
  if (!device) throwErrno();
  const int number = device.number();
  if (::isatty(number) != 1) throw LinkFailure("the file is no serial device");
  if (::flock(number, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) throwHeld(path);
  if (!isPseudoTerminal(number)) ::ioctl(number, TIOCEXCL);
  makeRaw(number);
  setBaud(number, baud);
  ::tcflush(number, TCIFLUSH);  // from before
  std::string holders = deviceHolders(path);
  if (!holders.empty()) holders.insert(0, "other programs read the device, too: ");
  return {std::move(device), std::move(holders)};
}

void makeRaw(int terminal) {
  termios settings{};
  if (::tcgetattr(terminal, &settings) != 0) throwErrno();
  ::cfmakeraw(&settings);
  settings.c_cflag |= static_cast<tcflag_t>(CLOCAL | CREAD);
  // Closing leaves the control signals as they are: many displays restart when DTR falls.
  settings.c_cflag &= ~static_cast<tcflag_t>(HUPCL | CSTOPB | PARENB);
#if defined(CRTSCTS)
  settings.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);
#endif
  settings.c_cc[VMIN] = 1;
  settings.c_cc[VTIME] = 0;
  if (::tcsetattr(terminal, TCSANOW, &settings) != 0) throwErrno();
}

void discardInput(int terminal) noexcept { ::tcflush(terminal, TCIFLUSH); }

}  // namespace varno
