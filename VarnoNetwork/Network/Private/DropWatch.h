#pragma once

#include <VarnoNetwork/Network/PacketDrop.h>

#include <memory>
#include <mutex>
#include <span>
#include <vector>

namespace varno {

// Why the type's parser did not take the frame's payload.
PacketDrop explainPayload(PacketType type, const PacketIdentifiers& identifiers,
                          std::span<const std::uint8_t> frame);

// Who is told of drops.
class DropWatch {
 public:
  // Tells the observer of the types that were left out, then sets it for what is dropped from here
  // on. Throws what it throws; the one before then stays.
  void setObserver(DropObserver observer);

  // Throws what the observer throws.
  void tell(const PacketDrop& drop) const;

  // While the network is constructed.
  void leaveOut(PacketType type, std::string cause) {
    leftOut_.push_back(
        {.reason = PacketDrop::Reason::kTypeLeftOut, .type = type, .cause = std::move(cause)});
  }
  const std::vector<PacketDrop>& leftOut() const noexcept { return leftOut_; }

 private:
  std::vector<PacketDrop> leftOut_;
  mutable std::mutex lock_;  // guards what follows
  std::shared_ptr<const DropObserver> observer_;
};

}  // namespace varno
