#include "tests/display/ReferencePhone.h"

#include <VarnoLink/Address.h>
#include <VarnoLink/Link.h>
#include <VarnoLink/LinkLoop.h>
#include <VarnoLink/LinkTimer.h>
#include <VarnoLink/LinkWatch.h>
#include <VarnoTraffic/FrameCutter.h>

#include <cstdio>
#include <exception>
#include <optional>

// The application that behaves well, as a program: reference_phone ADDRESS

namespace varno::test {
namespace {

class PhoneAtLink {
 public:
  PhoneAtLink(LinkLoop& loop, const char* address)
      : link_(loop, Address::parse(address), options(),
              {.onStatus = [this](const LinkStatus& status) { onStatus(status); },
               .onBytes = [this](std::span<const std::uint8_t> bytes) { onBytes(bytes); },
               .onWritten = {}}),
        timer_(loop),
        phone_(loop.clock(), [this](auto frame) { return link_.send(frame); }) {
    link_.open();
  }

 private:
  static LinkOptions options() {
    LinkOptions options;
    options.longestPause = std::chrono::milliseconds(200);  // a test is to take no longer
    return options;
  }

  void onStatus(const LinkStatus& status) {
    if (status.state == LinkState::kUp) phone_.linkUp();
    if (status.state == LinkState::kDown) {
      static_cast<void>(cutter_.finish());
      phone_.linkDown();
    }
    plan();
  }

  void onBytes(std::span<const std::uint8_t> bytes) {
    cutter_.feed(bytes, [this](const FrameCutter::Piece& piece) {
      if (piece.kind == RecordKind::kFrame) phone_.receive(piece.bytes);
    });
    plan();
  }

  void plan() {
    const std::optional<LinkTime> due = phone_.nextDue();
    if (!due) return timer_.cancel();
    timer_.at(*due, [this] {
      phone_.advance();
      plan();
    });
  }

  Link link_;
  LinkTimer timer_;
  FrameCutter cutter_;
  ReferencePhone phone_;
};

}  // namespace
}  // namespace varno::test

int main(int argc, char** argv) {
  if (argc != 2) return 1;
  try {
    varno::LinkLoop loop;
    const varno::SignalWatch signals(loop, [&](int) { loop.stop(); });
    const varno::test::PhoneAtLink phone(loop, argv[1]);
    loop.run();
  } catch (const std::exception& exception) {
    static_cast<void>(std::fprintf(stderr, "reference_phone: %s\n", exception.what()));
    return 1;
  }
  return 0;
}
