#pragma once

#include <VarnoLink/LinkOptions.h>
#include <VarnoLink/Private/BackOff.h>
#include <VarnoLink/Private/Connection.h>
#include <VarnoLink/Private/Opener.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace varno {

// A link's states: gets a connection from its opener, has it carry bytes, and gets the next. See
// Link for its functions.
class LinkCore final : public EventHost, private Opener::Owner, private Connection::Owner {
 public:
  LinkCore(LoopCore& loop, Address address, LinkOptions options, LinkHandlers handlers);

  // Takes the descriptor for its only connection.
  LinkCore(LoopCore& loop, Descriptor descriptor, LinkOptions options, LinkHandlers handlers);

  void open();
  void close() noexcept;
  void hangUp() noexcept;                           // NOLINT(bugprone-exception-escape): see there
  void reset() noexcept;                            // NOLINT(bugprone-exception-escape)
  bool send(std::span<const std::uint8_t> bytes) {  // throws std::bad_alloc
    return connection_ && connection_->send(bytes);
  }
  std::size_t queuedBytes() const { return connection_ ? connection_->queuedBytes() : 0; }
  std::size_t queuedSends() const { return connection_ ? connection_->queuedSends() : 0; }
  void pauseReading() noexcept;
  void resumeReading();
  const LinkStatus& status() const { return status_; }

  // The link is being destroyed: closes, and destroys the handlers once none is running.
  void abandon() noexcept;

 private:
  void begin();
  void tell();
  void fail(std::string reason);
  void failLater(const char* reason);

  void onOpening(const Address& address) override;
  void onOpened(Descriptor descriptor, std::string hint) override;
  void onOpenFailed(std::string reason) override { fail(std::move(reason)); }
  void onBytes(std::span<const std::uint8_t> bytes) override;
  void onWritten(std::size_t sends, std::size_t bytes) override;
  void onEnded(std::string reason) override { fail(std::move(reason)); }
  bool isInterrupted() const override { return hasThrown(); }
  void onThrown() noexcept override;
  void onRun() noexcept override;

  const LinkOptions options_;
  LinkHandlers handlers_;
  LinkStatus status_;
  BackOff backOff_;
  const std::unique_ptr<Opener> opener_;
  std::shared_ptr<Connection> connection_;
  std::chrono::steady_clock::time_point upSince_;
  bool isOpen_ = false;
  bool isPaused_ = false;
  bool isAbandoned_ = false;
};

}  // namespace varno
