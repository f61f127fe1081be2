#include <VarnoLink/Private/Descriptor.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace varno {

Descriptor::~Descriptor() {
  if (number_ >= 0) ::close(number_);
}

void throwErrno() { throw std::system_error(errno, std::generic_category()); }

void makeNonBlocking(int descriptor) {
  const int flags = ::fcntl(descriptor, F_GETFL);
  if (flags < 0 || ::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) < 0 ||
      ::fcntl(descriptor, F_SETFD, FD_CLOEXEC) < 0) {
    throwErrno();
  }
}

}  // namespace varno
