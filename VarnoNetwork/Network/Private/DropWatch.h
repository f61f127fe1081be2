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

// Holds the drop observer and calls it. What the observer throws leaves the function that called
// it.
class DropWatch {
 public:
  // Calls the observer for each type that was left out, then sets it for later drops. If it throws,
  // the previous observer stays.
  void setObserver(DropObserver observer);

  // Releases the observer.
  void close() noexcept;

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
