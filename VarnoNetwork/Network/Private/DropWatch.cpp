#include <VarnoNetwork/Network/FieldReader.h>
#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/Private/DropWatch.h>

#include <new>
#include <utility>

namespace varno {
namespace {

// Why the type's parser did not accept the frame's payload.
PacketDrop explainPayload(PacketType type, const PacketIdentifiers& identifiers,
                          std::span<const std::uint8_t> frame) {
  PacketDrop drop{.reason = PacketDrop::Reason::kPayloadRefused,
                  .identifiers = identifiers,
                  .type = type,
                  .frame = frame};
  HudInputStream stream = HudInputStream::borrowing(frame.subspan(1, frame.size() - 2));
  for (int identifier = 0; identifier < 3; ++identifier) stream.readByte();
  FieldReader reader(stream);
  try {
    // The parser only said that it failed. Reading again, field by field, tells where.
    type.make()->editFields(reader);
  } catch (const IndexOutOfBoundsException&) {
    drop.reason = PacketDrop::Reason::kPayloadEnds;
    drop.field = reader.path();
    drop.position = stream.offset() + 1;  // behind STX
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    drop.field = reader.path();
  }
  return drop;
}

}  // namespace

void DropWatch::dropUnknown(const PacketIdentifiers& identifiers,
                            std::span<const std::uint8_t> frame, NetworkTallies& tallies) const {
  const FrameCount counts(tallies.unknownId);
  tell({.identifiers = identifiers, .frame = frame});
}

void DropWatch::dropPayload(PacketType type, const PacketIdentifiers& identifiers,
                            std::span<const std::uint8_t> frame, NetworkTallies& tallies) const {
  FrameCount counts(tallies.failed);
  const PacketDrop drop = explainPayload(type, identifiers, frame);
  counts.in(drop.reason == PacketDrop::Reason::kPayloadEnds ? tallies.payloadEnds
                                                            : tallies.payloadRefused);
  tell(drop);
}

void DropWatch::setObserver(DropObserver observer) {
  std::shared_ptr<const DropObserver> next;
  if (observer) {
    next = std::make_shared<const DropObserver>(std::move(observer));
    for (const PacketDrop& drop : leftOut_) (*next)(drop);
  }
  // The previous observer is destroyed after the lock was released: its destructor may do anything.
  const std::lock_guard lock(lock_);
  observer_.swap(next);
}

void DropWatch::close() noexcept {
  std::shared_ptr<const DropObserver> released;
  const std::lock_guard lock(lock_);
  observer_.swap(released);
}

void DropWatch::tell(const PacketDrop& drop) const {
  std::shared_ptr<const DropObserver> observer;
  {
    const std::lock_guard lock(lock_);
    observer = observer_;
  }
  if (observer) (*observer)(drop);
}

}  // namespace varno
