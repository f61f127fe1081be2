#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace varno {

struct PacketListeners;

// Maps packet ids to the listeners of their types: an open-addressing hash table in one block of
// memory, filled once and then only read.
class PacketTable {
 public:
  explicit PacketTable(std::size_t count = 0) {
    while (slots_.size() < 2 * count) {
      slots_.resize(2 * slots_.size());
      --shift_;
    }
    mask_ = slots_.size() - 1;
  }

  // Null for an id that is not there.
  PacketListeners* find(std::int32_t id) const noexcept { return slots_[indexOf(id)].listeners; }

  // No more ids than the table was made for.
  void insert(std::int32_t id, PacketListeners& listeners) noexcept {
    slots_[indexOf(id)] = {id, &listeners};
  }

  template <class Action>
  void forEach(Action&& action) const {
    for (const Slot& slot : slots_) {
      if (slot.listeners != nullptr) action(slot.id, *slot.listeners);
    }
  }

 private:
  struct Slot {
    std::int32_t id = 0;
    PacketListeners* listeners = nullptr;  // null in a free slot
  };

  // The slot of the id, or the free slot where it would go. At least half of the slots are free.
  std::size_t indexOf(std::int32_t id) const noexcept {
    const std::uint32_t hash = static_cast<std::uint32_t>(id) * 0x9E3779B1U;
    std::size_t index = hash >> shift_;
    while (slots_[index].listeners != nullptr && slots_[index].id != id) {
      index = (index + 1) & mask_;
    }
    return index;
  }

  std::vector<Slot> slots_ = std::vector<Slot>(2);
  std::size_t mask_ = 1;
  unsigned shift_ = 31;  // leaves as many bits of the hash as an index has
};

}  // namespace varno
