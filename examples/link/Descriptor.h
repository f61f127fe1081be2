#pragma once

#include <poll.h>

#include <chrono>
#include <optional>
#include <span>
#include <utility>

namespace varno::example {

using Deadline = std::chrono::steady_clock::time_point;

// Owns a file descriptor and closes it.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  int number() const { return number_; }

 private:
  int number_;
};

// Throws std::system_error for errno, with what was tried.
[[noreturn]] void throwErrno(const char* what);

// Makes reads and writes return at once, and keeps the descriptor from programs started later.
void makeNonBlocking(int descriptor);

// poll() that signals do not interrupt. False when the deadline passed first; none waits for ever.
bool pollUntil(std::span<pollfd> descriptors, std::optional<Deadline> deadline);

}  // namespace varno::example
