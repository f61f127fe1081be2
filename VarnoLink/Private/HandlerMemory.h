#pragma once

#include <array>
#include <cstddef>
#include <new>

namespace varno {

// Room for one callback that Asio keeps, so that waiting allocates nothing and cannot fail for want
// of memory. Outlives the callback.
class HandlerMemory {
 public:
  HandlerMemory() = default;
  HandlerMemory(const HandlerMemory&) = delete;
  HandlerMemory& operator=(const HandlerMemory&) = delete;

  // From elsewhere while the room is taken, by a callback that was canceled and still waits.
  void* allocate(std::size_t bytes) {
    if (isTaken_ || bytes > sizeof room_) return ::operator new(bytes);
    isTaken_ = true;
    return room_.data();
  }

  void deallocate(void* memory) noexcept {
    if (memory == room_.data()) {
      isTaken_ = false;
    } else {
      ::operator delete(memory);
    }
  }

 private:
  alignas(std::max_align_t) std::array<std::byte, 256> room_;
  bool isTaken_ = false;
};

// HandlerMemory, as Asio asks for it.
template <class Value>
class HandlerAllocator {
 public:
  using value_type = Value;  // NOLINT(readability-identifier-naming)

  explicit HandlerAllocator(HandlerMemory& memory) noexcept : memory_(&memory) {}
  template <class Other>
  HandlerAllocator(const HandlerAllocator<Other>& other) noexcept : memory_(other.memory_) {}

  Value* allocate(std::size_t count) {
    return static_cast<Value*>(memory_->allocate(count * sizeof(Value)));
  }
  void deallocate(Value* memory, std::size_t) noexcept { memory_->deallocate(memory); }

  bool operator==(const HandlerAllocator&) const = default;

 private:
  template <class Other>
  friend class HandlerAllocator;

  HandlerMemory* memory_;
};

}  // namespace varno
