#pragma once

#include <VarnoNetwork/VarnoNetwork.h>

#include <cstdint>

namespace varno::example {

// Two packet types of this application, one in each direction: each side reports what it has put on
// the line, so that the other can tell whether anything was lost.

// Tells the display how many frames the phone has sent, this one included.
class LinkReportCommandPacket : public TypedPacket<LinkReportCommandPacket, CommandPacket, 100, 1> {
 public:
  static constexpr std::string_view kTypeName = "LinkReportCommandPacket";

  std::int32_t framesSent() const { return framesSent_; }
  void setFramesSent(std::int32_t framesSent) { framesSent_ = framesSent; }

  std::string description() const override { return describe("%@[framesSent : %d]", framesSent_); }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("framesSent", self.framesSent_);
  }

 private:
  std::int32_t framesSent_ = 0;
};

// Tells the phone how many good frames the display has sent, this one included, and with what it
// has disturbed the line.
class LinkReportEventPacket : public TypedPacket<LinkReportEventPacket, EventPacket, 100, 1> {
 public:
  static constexpr std::string_view kTypeName = "LinkReportEventPacket";

  // Plain numbers to count with, all of them sent.
  struct Counts {
    std::int32_t framesSent = 0;
    std::int32_t noiseBytes = 0;
    std::int32_t tornFrames = 0;
    std::int32_t shortFrames = 0;
    std::int32_t unknownFrames = 0;  // of a type that nobody knows
    std::int32_t brokenFrames = 0;   // that end inside their identifiers
  };

  const Counts& counts() const { return counts_; }
  void setCounts(const Counts& counts) { counts_ = counts; }

  std::string description() const override {
    return describe(
        "%@[framesSent : %d noiseBytes : %d tornFrames : %d shortFrames : %d unknownFrames : %d "
        "brokenFrames : %d]",
        counts_.framesSent, counts_.noiseBytes, counts_.tornFrames, counts_.shortFrames,
        counts_.unknownFrames, counts_.brokenFrames);
  }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("framesSent", self.counts_.framesSent);
    visit("noiseBytes", self.counts_.noiseBytes);
    visit("tornFrames", self.counts_.tornFrames);
    visit("shortFrames", self.counts_.shortFrames);
    visit("unknownFrames", self.counts_.unknownFrames);
    visit("brokenFrames", self.counts_.brokenFrames);
  }

 private:
  Counts counts_;
};

// Known to every network that is constructed after the program has started.
inline const PacketRegistration<LinkReportCommandPacket> kLinkReportCommand;
inline const PacketRegistration<LinkReportEventPacket> kLinkReportEvent;

}  // namespace varno::example
