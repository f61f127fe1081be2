#include <VarnoLink/Private/SerialBaud.h>

#include <VarnoLink/Private/Descriptor.h>
#include <VarnoLink/Private/LinkFailure.h>

#include <string>

// A file of its own: these headers of the system and <termios.h> exclude each other.
#if defined(__linux__)
#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <sys/ioctl.h>
#else
#include <termios.h>
#endif

namespace varno {
namespace {

[[noreturn]] void refuse(std::uint32_t baud) {
  throw LinkFailure("the device does not go at " + std::to_string(baud) + " baud");
}

}  // namespace

#if defined(__linux__) && defined(TCGETS2) && defined(BOTHER)

void setBaud(int terminal, std::uint32_t baud) {
  termios2 settings{};
  if (::ioctl(terminal, TCGETS2, &settings) != 0) throwErrno();
  settings.c_cflag &= ~static_cast<tcflag_t>(CBAUD | CIBAUD);
  settings.c_cflag |= static_cast<tcflag_t>(BOTHER | BOTHER << IBSHIFT);
  settings.c_ispeed = settings.c_ospeed = baud;
  if (::ioctl(terminal, TCSETS2, &settings) != 0 || ::ioctl(terminal, TCGETS2, &settings) != 0) {
    throwErrno();
  }
  // A driver takes the nearest rate that its clock allows. More than 3 % off, bytes get lost.
  const std::uint64_t actual = settings.c_ospeed;
  if (actual * 100 < std::uint64_t{baud} * 97 || actual * 100 > std::uint64_t{baud} * 103) {
    refuse(baud);
  }
}

#else

void setBaud(int terminal, std::uint32_t baud) {
  struct Rate {
    std::uint32_t baud;
    speed_t speed;
  };
  constexpr Rate kRates[] = {{1200, B1200},   {2400, B2400},     {4800, B4800},
                             {9600, B9600},   {19200, B19200},   {38400, B38400},
                             {57600, B57600}, {115200, B115200}, {230400, B230400}};
  for (const Rate& rate : kRates) {
    if (rate.baud != baud) continue;
    termios settings{};
    if (::tcgetattr(terminal, &settings) != 0) throwErrno();
    ::cfsetispeed(&settings, rate.speed);
    ::cfsetospeed(&settings, rate.speed);
    if (::tcsetattr(terminal, TCSANOW, &settings) != 0) throwErrno();
    return;
  }
  refuse(baud);
}

#endif

}  // namespace varno
