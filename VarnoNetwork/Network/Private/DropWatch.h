#pragma once

#include <VarnoNetwork/Network/PacketDrop.h>
#include <VarnoNetwork/Network/Private/NetworkTallies.h>

#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace varno {

// Who is told of drops. What the observer throws leaves the functions that tell it.
class DropWatch {
 public:
  // Tells the observer of the types that were left out, then sets it for what is dropped from here
  // on. Where it throws, the one before stays.
  void setObserver(DropObserver observer);

  // These count the frame, too.
  void dropUnknown(const PacketIdentifiers& identifiers, std::span<const std::uint8_t> frame,
                   NetworkTallies& tallies) const;
  void dropPayload(PacketType type, const PacketIdentifiers& identifiers,
                   std::span<const std::uint8_t> frame, NetworkTallies& tallies) const;

  // While the network is constructed.
  void leaveOut(PacketType type, std::string cause) {
    leftOut_.push_back(
        {.reason = PacketDrop::Reason::kTypeLeftOut, .type = type, .cause = std::move(cause)});
  }
  const std::vector<PacketDrop>& leftOut() const noexcept { return leftOut_; }

 private:
  void tell(const PacketDrop& drop) const;

  std::vector<PacketDrop> leftOut_;
  mutable std::mutex lock_;  // guards what follows
  std::shared_ptr<const DropObserver> observer_;
};

}  // namespace varno
