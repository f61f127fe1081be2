#pragma once

#include <VarnoDisplay/DisplayOptions.h>
#include <VarnoDisplay/Private/Agenda.h>
#include <VarnoDisplay/Private/Effects.h>
#include <VarnoDisplay/SimulatedDisplay.h>
#include <VarnoLink/Clock.h>
#include <VarnoNetwork/Network/HudPacket.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace varno {

// The frame as a display writes it. It is the packet's own, but for the version event: there the
// library writes no "&" between the versions, which it needs when it reads.
std::vector<std::uint8_t> displayFrameOf(const HudPacket& packet);

// What a display does of its own accord while its link is up.
class DisplayAnswers {
 public:
  struct Actions {
    std::function<void(const HudPacket& packet)> send;
    std::function<void(HangUp how)> hangUp;
    std::function<void(std::string note)> note;
  };

  DisplayAnswers(const DisplayOptions& options, DisplayPanel& panel, Actions actions)
      : options_(options),
        panel_(panel),
        actions_(std::move(actions)),
        switchedOff_(options.switchedOff) {}

  void setOn(DisplayAnswer answer, bool isOn);

  void linkUp(LinkTime now);
  void linkDown();

  // The phone is alive, whatever it sent is answered or not.
  void keepAlive(LinkTime now);

  // Puts down what the packet calls for; it was applied to the panel before.
  void answer(const HudPacket& packet, LinkTime now);

  // The display sent the packet: the update that it begins goes on from here.
  void sent(const HudPacket& packet, LinkTime now);

  std::optional<LinkTime> nextDue() const;
  void runDue(LinkTime now);

 private:
  bool isOn(DisplayAnswer answer) const { return switchedOff_.count(answer) == 0; }
  void later(DisplayAnswer answer, LinkTime time, Agenda::Task task);

  void scan(LinkTime now);
  void pair(const HudPacket& packet, LinkTime now);
  void connect(const HudPacket& packet, LinkTime now);
  void join(LinkTime now);

  const DisplayOptions& options_;
  DisplayPanel& panel_;
  Actions actions_;
  std::set<DisplayAnswer> switchedOff_;
  Agenda agenda_;
  std::uint64_t scans_ = 0;
  std::uint64_t updates_ = 0;
  std::optional<LinkTime> keepAliveDue_;
};

}  // namespace varno
