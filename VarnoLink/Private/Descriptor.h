#pragma once

#include <utility>

namespace varno {

// Owns a file descriptor and closes it.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) noexcept : number_(number) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  int number() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }
  int release() { return std::exchange(number_, -1); }

 private:
  int number_ = -1;
};

// Throws std::system_error for errno.
[[noreturn]] void throwErrno();

// Makes reads and writes return at once, and keeps the descriptor from programs started later.
// Throws std::system_error.
void makeNonBlocking(int descriptor);

}  // namespace varno
