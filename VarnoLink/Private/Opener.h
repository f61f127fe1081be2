#pragma once

#include <VarnoLink/Address.h>
#include <VarnoLink/LinkOptions.h>
#include <VarnoLink/Private/Descriptor.h>
#include <VarnoLink/Private/EventHost.h>

#include <memory>
#include <string>

namespace varno {

// Gets a link its connections, one after the other: connects, accepts, opens a device.
class Opener {
 public:
  // Told inside the host's actions. Where the application ends the attempt, the epoch is another
  // one behind the call.
  class Owner {
   public:
    // The attempt stands: a listening side waits for its peer. address: what it really is.
    virtual void onOpening(const Address& address) = 0;

    // The attempt has succeeded. hint: for people, or empty.
    virtual void onOpened(Descriptor connection, std::string hint) = 0;

    // It has failed.
    virtual void onOpenFailed(std::string reason) = 0;

   protected:
    ~Owner() = default;
  };

  virtual ~Opener() = default;
  Opener(const Opener&) = delete;
  Opener& operator=(const Opener&) = delete;

  // Begins an attempt, inside an action of the host and with an epoch of its own. What it or a
  // later action of it throws is a failure of the attempt.
  virtual void start() = 0;

  // Ends the attempt, but keeps what is for all of them: a listening socket, a pseudo-terminal.
  virtual void cancel() noexcept = 0;

  // Gives up that, too.
  virtual void close() noexcept { cancel(); }

  // Whether the peer has to come: the next attempt follows a connection without a pause.
  virtual bool isListening() const { return false; }

  // Whether there can be another attempt.
  virtual bool canReopen() const { return true; }

 protected:
  Opener(EventHost& host, Owner& owner) : host_(host), owner_(owner) {}

  EventHost& host() { return host_; }
  Owner& owner() { return owner_; }

 private:
  EventHost& host_;
  Owner& owner_;
};

// The opener that the address needs. options: outlive the opener.
std::unique_ptr<Opener> makeOpener(EventHost& host, Opener::Owner& owner, const Address& address,
                                   const LinkOptions& options);

// One that has the descriptor for its only connection.
std::unique_ptr<Opener> makeOpener(EventHost& host, Opener::Owner& owner, Descriptor descriptor);

}  // namespace varno
