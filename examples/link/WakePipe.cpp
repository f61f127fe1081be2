#include "WakePipe.h"

#include <unistd.h>

#include <array>
#include <cerrno>

namespace varno::example {
namespace {

std::pair<Descriptor, Descriptor> openPipe() {
  std::array<int, 2> numbers{};
  if (::pipe(numbers.data()) != 0) throwErrno("cannot open a pipe");
  std::pair ends{Descriptor(numbers[0]), Descriptor(numbers[1])};
  makeNonBlocking(numbers[0]);
  makeNonBlocking(numbers[1]);
  return ends;
}

}  // namespace

WakePipe::WakePipe() : ends_(openPipe()) {}

void WakePipe::wake() const noexcept {
  const int error = errno;
  const char byte = 0;
  // A full pipe is readable already, which is all that is wanted.
  while (::write(ends_.second.number(), &byte, 1) < 0 && errno == EINTR) {
  }
  errno = error;
}

void WakePipe::drain() const noexcept {
  std::array<char, 64> bytes;
  for (;;) {
    const ssize_t count = ::read(descriptor(), bytes.data(), bytes.size());
    if (count <= 0 && errno != EINTR) return;
  }
}

}  // namespace varno::example
