#pragma once

#include <VarnoLink/FaultStage.h>
#include <VarnoLink/Link.h>
#include <VarnoLink/TrafficObserver.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace varno {

// The two ends that a relay stands between.
enum class RelaySide : std::uint8_t { kPhone, kDisplay };

// "phone side", "display side".
VARNO_EXPORT std::string_view relaySideText(RelaySide side) noexcept;

// What a relay is to do otherwise than usual.
struct RelayOptions {
  LinkOptions link = {};   // of both sides; their limits of what waits to be written are not used
  std::uint64_t seed = 1;  // of the faults' chances

  // How much the faults of one direction may hold back before no more is read or sent. At least
  // two of the longest frames, which is 2 MiB, whatever is said here.
  std::size_t maxHeldBytes = std::size_t{4} << 20;
};

// Stands between a phone and a display: what comes from one side leaves on the other, in both
// directions, byte for byte, but for the faults that are put in.
//
//   Relay relay(loop, Address::parse("tcp-listen://127.0.0.1:0"),
//   Address::parse("tcp://hud:4711")); relay.addObserver(recorder); relay.open(); loop.run();
//
// To the two ends it looks like one link: as long as one side is not up, nothing is read from the
// other; when one side goes down, what came from it is still delivered, and then the other is hung
// up, too, and opened again. A side that does not read holds up the other in the end.
//
// On the loop's thread, as its links.
class VARNO_EXPORT Relay {
 public:
  using OnStatus = std::function<void(RelaySide side, const LinkStatus& status)>;

  // loop: outlives the relay. phoneSide, displaySide: where the phone and the display are to be
  // met.
  Relay(LinkLoop& loop, Address phoneSide, Address displaySide, const RelayOptions& options = {});
  ~Relay();
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;

  // Opens both sides. Throws std::bad_alloc.
  void open();
  // Hangs up on both sides at once and stays down. Observers are not told.
  void close() noexcept;

  // Hangs up on one side, which then stays down until open(). As where it went down by itself, what
  // came from it is still delivered, and the other side is hung up, too, and opened again.
  void hangUp(RelaySide side);

  // Sends bytes of the relay's own, as though they had come: through the faults of the direction,
  // and shown to the observers, with a note that says so. Never inside a frame that is passing:
  // they wait for its end, and are dropped when a side goes down before. The other side need not be
  // up. False, and nothing sent, where the side that they leave by is not up, or where more than
  // maxHeldBytes would wait.
  bool send(Direction direction, std::span<const std::uint8_t> bytes);

  // Each sees what passes where it leaves, behind the faults: frames that a fault altered as
  // records of kind fault, with the bytes that left. observer: outlives the relay, or is removed;
  // adds and removes none while it is called.
  void addObserver(TrafficObserver& observer);
  void removeObserver(TrafficObserver& observer);

  // Replaces the function that is told how the sides come and go.
  void setOnStatus(OnStatus onStatus);

  // Puts a fault into a direction; see FaultStage for what they do. `limit` and `reset` end both
  // sides, when what left before has been handed to the system. Returns its id in this direction.
  std::uint64_t addFault(Direction direction, const Fault& fault);
  bool removeFault(Direction direction, std::uint64_t id);
  void clearFaults(Direction direction);
  std::vector<FaultStage::Entry> faults(Direction direction) const;

  const LinkStatus& status(RelaySide side) const;

  // How many bytes have left in the direction.
  std::uint64_t passedBytes(Direction direction) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace varno
