#pragma once

#include <VarnoLink/LinkOptions.h>
#include <VarnoLink/Private/Descriptor.h>
#include <VarnoLink/Private/EventHost.h>
#include <VarnoLink/Private/SendQueue.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace varno {

// Reads and writes one descriptor until it ends. Its functions may be running when it is closed:
// whoever calls them keeps it alive.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  // Told inside the host's actions; may call anything of the connection.
  class Owner {
   public:
    virtual void onBytes(std::span<const std::uint8_t> bytes) = 0;
    virtual void onWritten(std::size_t sends, std::size_t bytes) = 0;

    // The last that is told. Closes the connection.
    virtual void onEnded(std::string reason) = 0;

    // Whether the loop should rather go on with something else.
    virtual bool isInterrupted() const = 0;

   protected:
    ~Owner() = default;
  };

  // Throws std::system_error and std::bad_alloc. options: outlive the connection.
  Connection(EventHost& host, Owner& owner, Descriptor descriptor, const LinkOptions& options);

  // Begins to read, or goes on with it.
  void resume();

  // Nothing more is read. What is waited for already comes to nothing.
  void pause() { isPaused_ = true; }

  // See Link::send. Throws std::bad_alloc, and then nothing is queued. What is large may be written
  // at once; the owner is told of it later, as of all else.
  bool send(std::span<const std::uint8_t> bytes);

  std::size_t queuedBytes() const { return queue_.bytes().size(); }
  std::size_t queuedSends() const { return queue_.sends(); }

  // Whether a byte has come.
  bool hasReceived() const { return hasReceived_; }

  // Each closes the descriptor, once: as at an orderly end, or as at a crash.
  void hangUp() noexcept;
  void reset() noexcept;

 private:
  enum class Reading : std::uint8_t { kNot, kWaiting, kNow };

  void waitReadable();
  void read();
  bool readOnce();
  std::size_t writeLarge(std::span<const std::uint8_t> bytes);
  void flushLater();
  void flush();
  void waitForPeer(bool hasMoved);
  void watchPeer();
  void stopWriting(int error);
  void end(const std::string& reason);
  void discardInput() noexcept;

  EventHost& host_;
  Owner& owner_;
  const LinkOptions& options_;
  LoopDescriptor descriptor_;
  bool isSocket_ = false;
  bool isTerminal_ = false;
  bool isPaused_ = false;
  bool isClosed_ = false;
  bool isFlushing_ = false;  // flush() will be called
  bool isBlocked_ = false;   // flush() will be called once the peer has made room
  bool isWatched_ = false;   // watchPeer() will be called
  bool hasReceived_ = false;
  int writeError_ = 0;  // after which only what the peer sent before is read
  Reading reading_ = Reading::kNot;
  SendQueue queue_;
  std::size_t writtenSends_ = 0;  // by writeLarge, of which the owner has not been told
  std::size_t writtenBytes_ = 0;
  int failedWith_ = 0;  // writeLarge, likewise: the system tells an error only once
  std::chrono::steady_clock::time_point lastMoved_;  // while it is blocked
};

}  // namespace varno
