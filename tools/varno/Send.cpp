#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"
#include "tools/varno/LinkArguments.h"
#include "tools/varno/LiveLink.h"
#include "tools/varno/PacketLine.h"
#include "tools/varno/Subcommand.h"

#include <VarnoLink/LinkTimer.h>
#include <VarnoLink/LinkWatch.h>

#include <chrono>
#include <cstdint>
#include <istream>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <vector>

namespace varno::tool {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct SendArguments {
  std::string address;
  std::vector<std::string> packets;
  std::string wait;
};

// All that is to be sent. kUsage or kUnreadable, with messages, where a part of it is not
// understood.
int gather(const SendArguments& arguments, Bytes& bytes) {
  PacketLine line;
  bool isGood = true;
  const auto take = [&](const std::string& text, const std::string& place) {
    isGood &= line.read(text, place);
    bytes.insert(bytes.end(), line.bytes().begin(), line.bytes().end());
  };
  for (const std::string& packet : arguments.packets) take(packet, {});
  if (!arguments.packets.empty()) return isGood ? kSuccess : kUsage;

  InputFile input("-");
  std::istream lines(&input);
  lines.exceptions(std::ios::badbit);
  std::string text;
  for (std::uint64_t number = 1; std::getline(lines, text); ++number) {
    if (text.ends_with('\r')) text.pop_back();
    take(text, "line " + std::to_string(number) + ", ");
  }
  return isGood ? kSuccess : kUnreadable;
}

// How long a terminal's line takes for what the system has; hanging up would drop the rest of it.
std::chrono::nanoseconds lineTime(const Address& address, std::size_t bytes) {
  constexpr std::chrono::milliseconds kReaction{100};
  if (address.kind() == Address::Kind::kPty) return kReaction;
  if (address.kind() != Address::Kind::kSerial) return std::chrono::nanoseconds(0);
  constexpr std::uint64_t kBitsPerByte = 10;
  return kReaction + std::chrono::microseconds(bytes * kBitsPerByte * 1'000'000 / address.baud());
}

// Sends the bytes over a link that it has for that alone.
class Sender {
 public:
  // wait: how long it is tried again where the link does not come up at once.
  Sender(const Address& address, std::span<const std::uint8_t> bytes, std::chrono::nanoseconds wait)
      : address_(address),
        bytes_(bytes),
        wait_(wait),
        link_(loop_, address, Direction::kToPhone, options(),
              {.onUp = [this] { onUp(); }, .onWritten = [this] { onWritten(); }}),
        timer_(loop_),
        signals_(loop_, [this](int) { loop_.stop(); }) {}

  // Throws Failure where not all of it could be sent.
  void run() {
    if (wait_ > std::chrono::nanoseconds::zero()) timer_.after(wait_, [this] { loop_.stop(); });
    link_.link().open();
    loop_.run();
    link_.link().close();
    if (isSent_) return;
    throw Failure(kLink, link_.failure().empty() ? address_.text() + ": ended before all was sent"
                                                 : link_.failure());
  }

 private:
  LinkOptions options() const {
    LinkOptions options;
    options.reconnects = wait_ > std::chrono::nanoseconds::zero();
    options.maxQueuedBytes = std::numeric_limits<std::size_t>::max();
    return options;
  }

  void onUp() {
    timer_.cancel();
    if (!link_.link().send(bytes_)) throw std::bad_alloc();
  }

  void onWritten() {
    if (link_.link().queuedBytes() > 0) return;
    isSent_ = true;
    timer_.after(lineTime(address_, bytes_.size()), [this] { loop_.stop(); });
  }

  const Address& address_;
  const std::span<const std::uint8_t> bytes_;
  const std::chrono::nanoseconds wait_;
  LinkLoop loop_;
  LiveLink link_;
  LinkTimer timer_;
  const SignalWatch signals_;
  bool isSent_ = false;
};

int run(const SendArguments& arguments) {
  const Address address = addressFrom(arguments.address);
  const auto wait =
      arguments.wait.empty() ? std::chrono::nanoseconds(0) : durationFrom(arguments.wait, "--wait");
  Bytes bytes;
  const int code = gather(arguments, bytes);
  if (code == kSuccess && !bytes.empty()) Sender(address, bytes, wait).run();
  return code;
}

}  // namespace

Run defineSend(CLI::App& app) {
  const auto arguments = std::make_shared<SendArguments>();
  app.add_option("ADDRESS", arguments->address,
                 "Where the other side is, or comes: tcp://192.168.43.1:4711, pty://,\n"
                 "serial:///dev/ttyUSB0?baud=115200, tcp-listen://127.0.0.1:4711, ...")
      ->required()
      ->type_name("");
  app.add_option("PACKET", arguments->packets,
                 "A packet's type and fields, or raw and bytes in hex; a line each of standard "
                 "input where there is none")
      ->type_name("");
  app.add_option("--wait", arguments->wait,
                 "Try again for so long where the link does not come up at once: 500ms, 10s")
      ->type_name("TIME");
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
