#pragma once

#include "tests/TestSupport.h"

#include <VarnoLink/VarnoLink.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace varno::test {

// A loop that runs until something is so. Whoever changes something asks by changed().
class TestLoop {
 public:
  LinkLoop& loop() { return loop_; }

  void changed() {
    if (isDone_ && isDone_()) loop_.stop();
  }

  // False when a minute passed first.
  bool runUntil(std::function<bool()> isDone) {
    if (isDone()) return true;
    isDone_ = std::move(isDone);
    bool isInTime = true;
    LinkTimer limit(loop_);
    limit.after(std::chrono::minutes(1), [&] {
      isInTime = false;
      loop_.stop();
    });
    const struct Forget {
      std::function<bool()>& isDone;
      ~Forget() { isDone = nullptr; }
    } forget{isDone_};
    loop_.run();
    return isInTime;
  }

 private:
  LinkLoop loop_;
  std::function<bool()> isDone_;
};

// A link with what it told.
struct TestLink {
  TestLink(TestLoop& owner, Address address, LinkOptions options = {})
      : TestLink(owner, [&](LinkHandlers handlers) {
          return std::make_unique<Link>(owner.loop(), std::move(address), options,
                                        std::move(handlers));
        }) {}

  // descriptor: as Link takes it.
  TestLink(TestLoop& owner, int descriptor, LinkOptions options = {})
      : TestLink(owner, [&](LinkHandlers handlers) {
          return std::make_unique<Link>(owner.loop(), descriptor, options, std::move(handlers));
        }) {}

  TestLink(const TestLink&) = delete;
  TestLink& operator=(const TestLink&) = delete;

  bool isUp() const { return told.back() == "up"; }
  bool isDown() const { return told.back().starts_with("down"); }

  // Opens, and runs the loop until the link listens; returns what the other side opens.
  Address listen() {
    link->open();
    EXPECT_TRUE(loop.runUntil([&] { return told.back() == "connecting"; }));
    return link->status().address.counterpart();
  }

  TestLoop& loop;
  std::vector<std::string> told{""};  // "connecting", "up", "down: why"
  Bytes received;
  std::size_t writtenSends = 0;
  std::size_t writtenBytes = 0;
  std::function<void()> onTold = [] {};  // called behind each entry
  std::function<void()> onReceived = [] {};
  std::function<void()> onWritten = [] {};
  std::unique_ptr<Link> link;

 private:
  template <class Make>
  TestLink(TestLoop& owner, Make make) : loop(owner) {
    LinkHandlers handlers;
    handlers.onStatus = [this](const LinkStatus& status) {
      told.emplace_back(linkStateText(status.state));
      if (!status.reason.empty()) told.back() += ": " + status.reason;
      loop.changed();
      onTold();
    };
    handlers.onBytes = [this](std::span<const std::uint8_t> bytes) {
      received.insert(received.end(), bytes.begin(), bytes.end());
      loop.changed();
      onReceived();
    };
    handlers.onWritten = [this](std::size_t sends, std::size_t bytes) {
      writtenSends += sends;
      writtenBytes += bytes;
      loop.changed();
      onWritten();
    };
    link = make(std::move(handlers));
  }
};

// Comes back at once, and gives up nothing by itself.
inline LinkOptions eager() {
  LinkOptions options;
  options.firstPause = options.longestPause = std::chrono::nanoseconds(0);
  options.writeTimeout = options.connectTimeout = std::chrono::nanoseconds(0);
  return options;
}

// All values of a byte, those that a terminal would take for itself included, over and over.
inline Bytes manyBytes(std::size_t count) {
  Bytes bytes(count);
  for (std::size_t at = 0; at < count; ++at) bytes[at] = static_cast<std::uint8_t>(at + at / 256);
  return bytes;
}

// A path for a socket that is this program's own.
inline std::string socketPath(const std::string& name = "varno") {
  return ::testing::TempDir() + name + std::to_string(::getpid()) + ".socket";
}

}  // namespace varno::test
