#include <VarnoLink/Private/TerminalOpeners.h>

#include <VarnoLink/Private/SerialDevice.h>

#include <fcntl.h>
#include <poll.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <string>
#include <system_error>

namespace varno {
namespace {

// The system tells nobody that the other side was opened: it is asked so often.
constexpr std::chrono::milliseconds kPeerPoll(20);

Descriptor makePseudoTerminal() {
  Descriptor side(::posix_openpt(O_RDWR | O_NOCTTY));
  if (!side || ::grantpt(side.number()) != 0 || ::unlockpt(side.number()) != 0) throwErrno();
  makeNonBlocking(side.number());
  return side;
}

std::string pathOfOtherSide(int side) {
  std::array<char, 256> path{};
  if (::ptsname_r(side, path.data(), path.size()) != 0) throwErrno();
  return path.data();
}

// Opens the other side for a moment. After that it counts as closed, where before it counted as not
// opened yet; and nothing is left there of what was for an earlier peer.
void prepareOtherSide(const std::string& path) {
  const Descriptor other(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!other) throwErrno();
  makeRaw(other.number());
  discardInput(other.number());
}

bool hasPeer(int side) {
  pollfd polled{side, POLLIN, 0};
  ::poll(&polled, 1, 0);
  // One that has gone again may have left something to be read.
  return (polled.revents & POLLHUP) == 0 || (polled.revents & POLLIN) != 0;
}

}  // namespace

void SerialOpener::start() {
  const std::uint64_t epoch = host().epoch();
  owner().onOpening(address_);
  if (epoch != host().epoch()) return;
  SerialDevice device = openSerialDevice(address_.path(), address_.baud());
  owner().onOpened(std::move(device.descriptor), std::move(device.hint));
}

void PtyOpener::start() {
  if (!side_) {
    side_ = makePseudoTerminal();
    address_ = Address::pty(pathOfOtherSide(side_.number()));
  }
  try {
    prepareOtherSide(address_.path());
  } catch (const std::system_error&) {
    close();  // somebody has taken the other side for himself, and is gone: it is of no more use
    throw;
  }
  host().waitFor(kPeerPoll, [this] { awaitPeer(); });
  owner().onOpening(address_);
}

void PtyOpener::awaitPeer() {
  if (!hasPeer(side_.number())) return host().waitFor(kPeerPoll, [this] { awaitPeer(); });
  Descriptor connection(::fcntl(side_.number(), F_DUPFD_CLOEXEC, 0));
  if (!connection) throwErrno();
  owner().onOpened(std::move(connection), {});
}

}  // namespace varno
